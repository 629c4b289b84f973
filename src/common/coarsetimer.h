#pragma once

#include <QtGlobal>

#include <chrono>

#if defined(Q_OS_LINUX)
#include <time.h>
#endif

namespace MGImport8 {

/// Milliseconds since `start`, read from the system's coarse monotonic clock where it has one: a
/// few nanoseconds a reading instead of a full clock query, at a resolution of a few
/// milliseconds. For loops that ask "has enough time passed?" once per row.
class CoarseTimer
{
public:
    void start() { m_start = now(); }
    bool isValid() const { return m_start >= 0; }
    qint64 elapsed() const { return now() - m_start; }

private:
    static qint64 now()
    {
#if defined(Q_OS_LINUX) && defined(CLOCK_MONOTONIC_COARSE)
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
        return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
#else
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
#endif
    }

    qint64 m_start = -1;
};

} // namespace MGImport8
