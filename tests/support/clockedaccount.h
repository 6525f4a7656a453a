#pragma once

#include "accountbase.h"

// An account whose clock the test sets, so that times "now" and keep-time cut-offs are fixed.
class ClockedAccount : public AccountBase
{
public:
    using AccountBase::AccountBase;
    qint64 currentTime() const override { return now; }
    qint64 now = 1'700'000'000'000;
};
