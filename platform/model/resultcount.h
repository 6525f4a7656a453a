#pragma once

// The outcome of one page load: count is what the caller may assume is still to come (the
// requested count while more remain, else the number actually loaded); loaded is the number
// loaded.
struct ResultCount
{
    int count = 0;
    int loaded = 0;

    ResultCount &operator+=(const ResultCount &other)
    {
        count += other.count;
        loaded += other.loaded;
        return *this;
    }
    bool operator==(const ResultCount &other) const
    {
        return count == other.count && loaded == other.loaded;
    }
};
