#pragma once

#include <QString>

#include <cstdint>

namespace MGImport8::Bench {

/// A delimited file of `lines` lines (a header and device records of 8 fields, the second an IP
/// address), generated once per size into the temporary folder and reused while its size is right.
/// The same size always gives the same bytes.
QString deviceFile(std::int64_t lines);
std::int64_t fileSize(const QString &path);

/// Seconds that `wc -l` takes on the file, the best of a few runs, so ratios compare against the
/// same warm file on the same machine in the same run.
double wcSeconds(const QString &path);

/// Peak memory of a piece of work, measured by resetting the kernel's high-water mark of this
/// process first: the peak resident size during the work less the resident size before it.
/// Negative when the system does not allow the reset.
class PeakMemory
{
public:
    PeakMemory();
    std::int64_t bytes() const;

private:
    std::int64_t m_before = -1;
};

} // namespace MGImport8::Bench
