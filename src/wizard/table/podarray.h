#pragma once

#include <QtGlobal>

#include <algorithm>
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

/// Gives a large block its memory pages before it is written, in one call, instead of one page
/// fault per four kilobytes while it is filled; for a file's worth of memory that halves the time
/// the system spends handing out pages. Huge pages are not asked for: where they are not free at
/// once the system stops to assemble them, which makes one reading in several seconds slower.
/// A hint only; systems without it fault the pages in as usual.
inline void prefault(void *block, std::size_t size)
{
#if defined(MADV_POPULATE_WRITE)
    static const auto page = std::uintptr_t(::sysconf(_SC_PAGESIZE));
    // Whole pages inside the block only: the pages at its edges may belong to other data.
    const auto begin = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(block) + size) & ~(page - 1);
    if (end > begin)
        ::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_POPULATE_WRITE);
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

    qsizetype size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    /// Values the array holds memory for.
    qsizetype capacity() const { return m_capacity; }
    const T *data() const { return m_data; }
    T *data() { return m_data; }
    const T &operator[](qsizetype i) const { return m_data[i]; }
    T &operator[](qsizetype i) { return m_data[i]; }
    const T &last() const { return m_data[m_size - 1]; }

    [[gnu::always_inline]] void append(T value)
    {
        if (m_size == m_capacity) [[unlikely]]
            grow(m_size + 1);
        m_data[m_size++] = value;
    }
    /// Makes room for `extra` more values past the size.
    void reserveExtra(qsizetype extra)
    {
        if (m_capacity - m_size < extra) [[unlikely]]
            grow(m_size + extra);
    }
    /// Sets the size after values were written into the room reserveExtra() made.
    void setSize(qsizetype size) { m_size = size; }
    /// For an empty array: sets aside address space for `capacity` values up front. Memory is
    /// taken only as the array grows into it, and an array whose final size is unknown but
    /// bounded never moves. Without address space to spare the array grows as usual.
    void reserveAddressSpace(qsizetype capacity)
    {
        if (m_data || !isLarge(capacity))
            return;
        void *mapping = ::mmap(nullptr, bytes(capacity), PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mapping == MAP_FAILED)
            return;
        m_data = static_cast<T *>(mapping);
        m_mapped = bytes(capacity);
    }
    void clear() { m_size = 0; }
    void release()
    {
        if (m_mapped)
            ::munmap(m_data, m_mapped);
        else
            std::free(m_data);
        m_data = nullptr;
        m_size = m_capacity = 0;
        m_mapped = 0;
    }
    /// Gives back the memory past the size.
    void squeeze()
    {
        if (m_size == 0)
            release();
        else if (m_capacity != m_size || m_mapped > bytes(m_size))
            resize(m_size);
    }

private:
    // Arrays from this size on are mapped on their own. Under AddressSanitizer every array stays
    // on the heap, where overruns are caught.
#if defined(__SANITIZE_ADDRESS__)
    static constexpr std::size_t largeBytes = std::numeric_limits<std::size_t>::max();
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    static constexpr std::size_t largeBytes = std::numeric_limits<std::size_t>::max();
#else
    static constexpr std::size_t largeBytes = std::size_t(1) << 20;
#endif
#else
    static constexpr std::size_t largeBytes = std::size_t(1) << 20;
#endif
    static constexpr qsizetype minimumCapacity = 1024;
    // A large array takes its pages in steps of an eighth of its size, within these bounds.
    static constexpr std::size_t minimumStep = std::size_t(1) << 20;
    static constexpr std::size_t maximumStep = std::size_t(32) << 20;

    static std::size_t bytes(qsizetype count)
    {
        return std::size_t(count) * sizeof(T);
    }
    static bool isLarge(qsizetype count)
    {
        return bytes(count) >= largeBytes;
    }

    [[gnu::noinline]] void grow(qsizetype needed)
    {
        if (!m_mapped) {
            // Half as much again each time: few reallocations, and little slack at the end.
            resize(qMax(qMax(m_capacity + m_capacity / 2, minimumCapacity), needed));
            if (!m_mapped)
                return;
        }
        // A mapping takes its pages a step at a time, remapped larger when it is full.
        const std::size_t step = std::clamp(bytes(m_size) / 8, minimumStep, maximumStep);
        const std::size_t wanted = std::max(bytes(needed), bytes(m_capacity) + step);
        if (wanted > m_mapped)
            resize(qsizetype(std::max(bytes(needed), m_mapped + m_mapped / 2) / sizeof(T)));
        const std::size_t populated = std::min(wanted, m_mapped);
        prefault(reinterpret_cast<char *>(m_data) + bytes(m_capacity),
                 populated - bytes(m_capacity));
        m_capacity = qsizetype(populated / sizeof(T));
    }

    // Moves the values to a block for `capacity` values, keeping as many as fit.
    [[gnu::noinline]] void resize(qsizetype capacity)
    {
        void *block = nullptr;
        std::size_t mapped = 0;
        if (!m_mapped && !isLarge(capacity)) {
            block = std::realloc(m_data, bytes(capacity));
        } else if (m_mapped && isLarge(capacity)) {
            block = ::mremap(m_data, m_mapped, bytes(capacity), MREMAP_MAYMOVE);
            block = block == MAP_FAILED ? nullptr : block;
            mapped = bytes(capacity);
        } else {
            // Between the heap and a mapping of its own: copy what is kept.
            if (isLarge(capacity)) {
                block = ::mmap(nullptr, bytes(capacity), PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                block = block == MAP_FAILED ? nullptr : block;
                mapped = bytes(capacity);
            } else {
                block = std::malloc(bytes(capacity));
            }
            if (block && m_size > 0)
                std::memcpy(block, m_data, bytes(std::min(m_size, capacity)));
            if (block && m_mapped)
                ::munmap(m_data, m_mapped);
            else if (block)
                std::free(m_data);
        }
        if (!block)
            throw std::bad_alloc();
        m_data = static_cast<T *>(block);
        m_mapped = mapped;
        m_size = std::min(m_size, capacity);
        // A mapping takes its pages as values arrive; a heap block has them all.
        m_capacity = mapped ? std::min(m_capacity, capacity) : capacity;
    }

    T *m_data = nullptr;
    qsizetype m_size = 0;
    qsizetype m_capacity = 0;
    std::size_t m_mapped = 0; // bytes of the array's own mapping; 0 on the heap
};

} // namespace MGImport8
