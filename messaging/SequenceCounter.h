#pragma once

#include <climits>

// Frame sequence numbers: starts at 1, never yields 0, wraps from INT_MAX to 1.
class SequenceCounter final
{
public:
    explicit SequenceCounter(int first = 1)
        : m_next(first)
    { }

    int next()
    {
        const int value = m_next;
        m_next = value == INT_MAX ? 1 : value + 1;
        return value;
    }

private:
    int m_next;
};
