// CTimeSpan: a difference of two times in seconds.
#pragma once

#include <compare>

#include "framework/types.h"

// Arithmetic wraps at the ends of 64 bits.
class VAULTLIB_API CTimeSpan {
public:
    CTimeSpan() = default;
    CTimeSpan(__int64 seconds) : m_seconds(seconds) {}
    CTimeSpan(LONG days, int hours, int minutes, int seconds)
        : m_seconds(((days * LONGLONG{24} + hours) * 60 + minutes) * 60 + seconds) {}

    __int64 GetDays() const { return m_seconds / 86400; }
    __int64 GetTotalHours() const { return m_seconds / 3600; }
    LONG GetHours() const { return static_cast<LONG>(GetTotalHours() % 24); }
    __int64 GetTotalMinutes() const { return m_seconds / 60; }
    LONG GetMinutes() const { return static_cast<LONG>(GetTotalMinutes() % 60); }
    __int64 GetTotalSeconds() const { return m_seconds; }
    LONG GetSeconds() const { return static_cast<LONG>(m_seconds % 60); }
    __int64 GetTimeSpan() const { return m_seconds; }

    CTimeSpan operator+(CTimeSpan other) const { return Sum(m_seconds, other.m_seconds); }
    CTimeSpan operator-(CTimeSpan other) const { return Difference(m_seconds, other.m_seconds); }
    CTimeSpan& operator+=(CTimeSpan other) { return *this = *this + other; }
    CTimeSpan& operator-=(CTimeSpan other) { return *this = *this - other; }
    auto operator<=>(const CTimeSpan&) const = default;

    static __int64 Sum(__int64 left, __int64 right) {
        return static_cast<__int64>(static_cast<unsigned __int64>(left) +
                                    static_cast<unsigned __int64>(right));
    }
    static __int64 Difference(__int64 left, __int64 right) {
        return static_cast<__int64>(static_cast<unsigned __int64>(left) -
                                    static_cast<unsigned __int64>(right));
    }

private:
    __int64 m_seconds = 0;
};
