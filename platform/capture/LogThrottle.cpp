#include "platform/capture/LogThrottle.h"

#include <chrono>

bool LogThrottle::Note(double nowSeconds, std::uint64_t& repeats) {
    repeats = 0;
    if (!mLogged) {
        mLogged = true;
        mLastLineSeconds = nowSeconds;
        return true;
    }
    ++mUnlogged;
    if (nowSeconds - mLastLineSeconds < mIntervalSeconds) {
        return false;
    }
    repeats = mUnlogged;
    mUnlogged = 0;
    mLastLineSeconds = nowSeconds;
    return true;
}

bool LogThrottle::Note(std::uint64_t& repeats) {
    double const now =
        std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    return Note(now, repeats);
}

std::string LogThrottle::RepeatsText(std::uint64_t repeats) {
    return repeats == 0 ? std::string()
                        : " (" + std::to_string(repeats) + " more since the last line)";
}
