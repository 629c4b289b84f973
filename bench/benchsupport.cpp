#include "benchsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>

namespace MGImport8::Bench {

namespace {

constexpr int wcRuns = 3;
constexpr std::int64_t writeChunk = 1 << 20;
constexpr std::array sites = {"HQ", "Branch-North", "Branch-South", "DC1", "DC2", "Lab"};
constexpr std::array vendors = {"Cisco", "Juniper", "Aruba", "HPE", "Huawei", "MikroTik"};
constexpr std::array models = {"C9300-48P", "EX4300", "2930F", "S5720", "CRS326", "MX204"};
constexpr std::array words = {"core", "access", "uplink", "backup", "spare", "floor", "rack"};

// A small fixed generator: the same file on every machine and every run.
struct Generator
{
    std::uint64_t state;
    std::uint32_t next()
    {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return std::uint32_t(state >> 33);
    }
    template<typename List>
    const char *pick(const List &list)
    {
        return list[next() % list.size()];
    }
};

std::int64_t statusField(const char *field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string key = field;
    while (std::getline(status, line)) {
        if (line.compare(0, key.size(), key) == 0)
            return std::stoll(line.substr(key.size())) * 1024;
    }
    return -1;
}

} // namespace

QString deviceFile(std::int64_t lines)
{
    const QString path = QDir::temp().filePath(QStringLiteral("mgimport8-bench-%1.csv").arg(lines));
    const QString sizeMark = path + QStringLiteral(".size");
    QFile mark(sizeMark);
    if (mark.open(QIODevice::ReadOnly) && mark.readAll().toLongLong() == fileSize(path)
        && fileSize(path) > 0)
        return path;

    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write %s", qPrintable(path));
    Generator random{std::uint64_t(lines)};
    QByteArray chunk;
    chunk.reserve(writeChunk + 512);
    chunk += "Name,IP,Site,Vendor,Model,Serial,Location,Description\n";
    char line[512];
    for (std::int64_t i = 1; i < lines; ++i) {
        const std::uint32_t ip = random.next();
        const int n = std::snprintf(line, sizeof line,
                                    "sw-%07lld,10.%u.%u.%u,%s,%s,%s,SN%08X,Building %u Room %u,"
                                    "%s %s %s\n",
                                    static_cast<long long>(i), (ip >> 16) & 0xFF, (ip >> 8) & 0xFF,
                                    ip & 0xFF, random.pick(sites), random.pick(vendors),
                                    random.pick(models), random.next(), random.next() % 20,
                                    random.next() % 400, random.pick(words), random.pick(words),
                                    random.pick(words));
        chunk.append(line, n);
        if (chunk.size() >= writeChunk) {
            file.write(chunk);
            chunk.clear();
        }
    }
    file.write(chunk);
    file.close();
    if (mark.open(QIODevice::WriteOnly | QIODevice::Truncate))
        mark.write(QByteArray::number(fileSize(path)));
    return path;
}

std::int64_t fileSize(const QString &path)
{
    return QFileInfo(path).size();
}

double wcSeconds(const QString &path)
{
    const QByteArray command = "wc -l < '" + QFile::encodeName(path) + "' > /dev/null";
    double best = std::numeric_limits<double>::max();
    for (int run = 0; run < wcRuns; ++run) {
        QElapsedTimer timer;
        timer.start();
        FILE *pipe = ::popen(command.constData(), "r");
        if (!pipe)
            return -1;
        ::pclose(pipe);
        best = std::min(best, timer.nsecsElapsed() / 1e9);
    }
    return best;
}

PeakMemory::PeakMemory()
{
    // Writing 5 to clear_refs resets the peak resident size (VmHWM) to the current one.
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.close();
    if (clear.good())
        m_before = statusField("VmRSS:");
}

std::int64_t PeakMemory::bytes() const
{
    return m_before < 0 ? -1 : statusField("VmHWM:") - m_before;
}

} // namespace MGImport8::Bench
