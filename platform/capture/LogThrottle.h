#pragma once
// Keeps a fault that repeats with every frame from flooding the log: its first occurrence is
// written, later ones are counted, and the count is written at most once an interval.

#include <cstdint>
#include <string>

class LogThrottle {
public:
    static constexpr double kDefaultIntervalSeconds = 10.0;

    explicit LogThrottle(double intervalSeconds = kDefaultIntervalSeconds)
        : mIntervalSeconds(intervalSeconds) {}

    // One occurrence at `nowSeconds` (any steady clock). True when a line is due now;
    // `repeats` then says how many occurrences went unlogged since the last line (0 for the
    // first occurrence).
    bool Note(double nowSeconds, std::uint64_t& repeats);
    // The same, on the steady clock.
    bool Note(std::uint64_t& repeats);

    // What a line about a repeated fault ends with: nothing for the first, otherwise
    // " (N more since the last line)".
    static std::string RepeatsText(std::uint64_t repeats);

private:
    double mIntervalSeconds;
    double mLastLineSeconds = 0.0;
    std::uint64_t mUnlogged = 0;
    bool mLogged = false;
};
