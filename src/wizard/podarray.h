#pragma once

#include <QtGlobal>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace MGImport8 {

/// Huge pages are this large; blocks of at least two of them are worth backing with them.
inline constexpr std::size_t hugePageSize = std::size_t(2) << 20;

/// Asks the kernel to back a large block with huge pages where it can, before the block is first
/// written: filling a file's worth of fresh memory then takes one page fault per two megabytes
/// instead of one per four kilobytes. The advice covers the block's whole pages, so that a block
/// mapped on its own stays one mapping and can still be remapped. A hint only.
inline void adviseHugePages(void *block, std::size_t size)
{
#if defined(MADV_HUGEPAGE)
    if (size < 2 * hugePageSize)
        return;
    static const auto page = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(block) & ~(page - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + size + page - 1) & ~(page - 1);
    ::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#else
    Q_UNUSED(block);
    Q_UNUSED(size);
#endif
}

/// A growable array of plain values for tables of millions of offsets. Small arrays live on the
/// heap; large ones in memory mapped for them alone, which grows by remapping pages instead of
/// copying them, so growing never holds an old and a new block at once and the reader's peak
/// memory stays near the table's own size.
template<typename T>
class PodArray
{
    static_assert(std::is_trivially_copyable_v<T>);

public:
    PodArray() = default;
    ~PodArray() { release(); }
    PodArray(const PodArray &) = delete;
    PodArray &operator=(const PodArray &) = delete;
    PodArray(PodArray &&other) noexcept
        : m_data(std::exchange(other.m_data, nullptr))
        , m_size(std::exchange(other.m_size, 0))
        , m_capacity(std::exchange(other.m_capacity, 0))
    {}
    PodArray &operator=(PodArray &&other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
        return *this;
    }

    qsizetype size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    qsizetype capacity() const { return m_capacity; }
    const T *data() const { return m_data; }
    T *data() { return m_data; }
    const T &operator[](qsizetype i) const { return m_data[i]; }
    T &operator[](qsizetype i) { return m_data[i]; }
    const T &last() const { return m_data[m_size - 1]; }

    [[gnu::always_inline]] void append(T value)
    {
        if (m_size == m_capacity) [[unlikely]]
            reallocate(grownCapacity(m_size + 1));
        m_data[m_size++] = value;
    }
    /// Makes room for `extra` more values past the size.
    void reserveExtra(qsizetype extra)
    {
        if (m_capacity - m_size < extra) [[unlikely]]
            reallocate(grownCapacity(m_size + extra));
    }
    /// For an empty array: sets aside address space for `capacity` values up front, which costs
    /// memory only as values are written, so an array whose final size is unknown but bounded
    /// never moves. Without address space to spare the array grows as usual.
    void reserveAddressSpace(qsizetype capacity)
    {
        if (m_capacity != 0 || !isMapped(capacity))
            return;
        // Start on a huge page boundary, so that every huge page of the array can be one.
        static const auto page = std::size_t(::sysconf(_SC_PAGESIZE));
        const std::size_t length = (bytes(capacity) + page - 1) & ~(page - 1);
        void *mapping = ::mmap(nullptr, length + hugePageSize, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapping == MAP_FAILED)
            return;
        const auto start = reinterpret_cast<std::uintptr_t>(mapping);
        const auto aligned = (start + hugePageSize - 1) & ~(hugePageSize - 1);
        if (aligned > start)
            ::munmap(mapping, aligned - start);
        const std::size_t tail = hugePageSize - (aligned - start);
        if (tail > 0)
            ::munmap(reinterpret_cast<void *>(aligned + length), tail);
        m_data = reinterpret_cast<T *>(aligned);
        m_capacity = qsizetype(length / sizeof(T));
        adviseHugePages(m_data, length);
    }
    /// Sets the size after values were written into the reserved room.
    void setSize(qsizetype size) { m_size = size; }
    void clear() { m_size = 0; }
    void release()
    {
        if (isMapped(m_capacity))
            ::munmap(m_data, bytes(m_capacity));
        else
            std::free(m_data);
        m_data = nullptr;
        m_size = m_capacity = 0;
    }
    /// Gives back the unused tail of the block.
    void squeeze()
    {
        if (m_size == 0)
            release();
        else if (m_capacity != m_size)
            reallocate(m_size);
    }

private:
    // Blocks from this size on are mapped on their own; under AddressSanitizer every block stays
    // on the heap, where overruns are caught.
#if defined(__SANITIZE_ADDRESS__)
    static constexpr std::size_t mappedBytes = std::numeric_limits<std::size_t>::max();
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    static constexpr std::size_t mappedBytes = std::numeric_limits<std::size_t>::max();
#else
    static constexpr std::size_t mappedBytes = std::size_t(1) << 20;
#endif
#else
    static constexpr std::size_t mappedBytes = std::size_t(1) << 20;
#endif
    static constexpr qsizetype minimumCapacity = 1024;

    static std::size_t bytes(qsizetype count)
    {
        return std::size_t(count) * sizeof(T);
    }
    static bool isMapped(qsizetype capacity)
    {
        return bytes(capacity) >= mappedBytes;
    }

    qsizetype grownCapacity(qsizetype needed) const
    {
        // Half as much again each time: few reallocations, and little slack at the end.
        return qMax(qMax(m_capacity + m_capacity / 2, minimumCapacity), needed);
    }

    [[gnu::noinline]] void reallocate(qsizetype capacity)
    {
        const bool wasMapped = isMapped(m_capacity);
        const bool mapped = isMapped(capacity);
        void *block = nullptr;
        if (!wasMapped && !mapped) {
            block = std::realloc(m_data, bytes(capacity));
        } else if (wasMapped && mapped) {
            block = ::mremap(m_data, bytes(m_capacity), bytes(capacity), MREMAP_MAYMOVE);
            if (block == MAP_FAILED)
                block = nullptr;
            else
                adviseHugePages(block, bytes(capacity));
        } else {
            // Between the heap and a mapping of its own: copy what is kept.
            if (mapped) {
                block = ::mmap(nullptr, bytes(capacity), PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                if (block == MAP_FAILED)
                    block = nullptr;
                else
                    adviseHugePages(block, bytes(capacity));
            } else {
                block = std::malloc(bytes(capacity));
            }
            if (block) {
                if (m_size > 0)
                    std::memcpy(block, m_data, bytes(qMin(m_size, capacity)));
                if (wasMapped)
                    ::munmap(m_data, bytes(m_capacity));
                else
                    std::free(m_data);
            }
        }
        if (!block)
            throw std::bad_alloc();
        m_data = static_cast<T *>(block);
        m_capacity = capacity;
    }

    T *m_data = nullptr;
    qsizetype m_size = 0;
    qsizetype m_capacity = 0;
};

} // namespace MGImport8
