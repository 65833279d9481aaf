#pragma once

#include <climits>

// Frame sequence numbers: starts at 1, never yields 0, wraps from INT_MAX to 1.
class SequenceCounter
{
public:
    explicit SequenceCounter(int first = 1)
        : _next(first)
    { }

    int next()
    {
        const int value = _next;
        _next = value == INT_MAX ? 1 : value + 1;
        return value;
    }

private:
    int _next;
};
