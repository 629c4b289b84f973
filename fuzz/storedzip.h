#pragma once

// A zip archive of stored (uncompressed) parts, written by hand so that fuzzers can wrap their
// input in a valid container without touching the disk.

#include <zlib.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace MGImport8::Fuzz {

inline void put16(std::string &out, std::uint32_t value)
{
    out += char(value & 0xff);
    out += char((value >> 8) & 0xff);
}

inline void put32(std::string &out, std::uint32_t value)
{
    put16(out, value & 0xffff);
    put16(out, value >> 16);
}

inline std::string storedZip(const std::vector<std::pair<std::string, std::string>> &parts)
{
    std::string out;
    std::string directory;
    for (const auto &part : parts) {
        const std::string &name = part.first;
        const std::string &data = part.second;
        const std::uint32_t offset = std::uint32_t(out.size());
        const std::uint32_t crc = std::uint32_t(
            crc32(0, reinterpret_cast<const Bytef *>(data.data()), uInt(data.size())));
        auto header = [&](std::string &to, bool central) {
            put32(to, central ? 0x02014b50 : 0x04034b50);
            if (central)
                put16(to, 20);
            put16(to, 20); // version needed
            put16(to, 0);  // flags
            put16(to, 0);  // stored
            put16(to, 0);  // time
            put16(to, 0);  // date
            put32(to, crc);
            put32(to, std::uint32_t(data.size()));
            put32(to, std::uint32_t(data.size()));
            put16(to, std::uint32_t(name.size()));
            put16(to, 0); // extra
            if (central) {
                put16(to, 0); // comment
                put16(to, 0); // disk
                put16(to, 0); // internal attributes
                put32(to, 0); // external attributes
                put32(to, offset);
            }
            to += name;
        };
        header(out, false);
        out += data;
        header(directory, true);
    }
    const std::uint32_t directoryOffset = std::uint32_t(out.size());
    out += directory;
    put32(out, 0x06054b50);
    put16(out, 0);
    put16(out, 0);
    put16(out, std::uint32_t(parts.size()));
    put16(out, std::uint32_t(parts.size()));
    put32(out, std::uint32_t(directory.size()));
    put32(out, directoryOffset);
    put16(out, 0);
    return out;
}

} // namespace MGImport8::Fuzz
