#pragma once

// Not API: the body of a property setter. A setter stores and emits only on a real change, so
// that a binding re-evaluates once per change and nothing reacts to a value it already had.

#include <utility>

// Stores value in member and emits owner's notify signal; nothing when the value is unchanged.
template<typename Owner, typename T, typename V>
void setAndNotify(Owner *owner, T &member, V &&value, void (Owner::*notify)())
{
    if (member == value) {
        return;
    }
    member = std::forward<V>(value);
    Q_EMIT(owner->*notify)();
}

// The same for a notify signal that carries the new value.
template<typename Owner, typename T, typename V, typename Arg>
void setAndNotify(Owner *owner, T &member, V &&value, void (Owner::*notify)(Arg))
{
    if (member == value) {
        return;
    }
    member = std::forward<V>(value);
    Q_EMIT(owner->*notify)(member);
}
