// The hand-over between the servo thread and the graphical thread: small types, none of which ever blocks or
// allocates on the servo side.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

/// A value that both threads read and write. Each load and store is whole; two values can still be read
/// from different moments, which costs one tick or one frame. A store releases and a load acquires, so a
/// tick that sees a raised flag also sees what was built before it was raised; on x86-64 both are plain
/// moves. Any thread.
template <class T>
class Shared {
public:
    constexpr Shared(T value = T{}) noexcept : m_value(value) {}
    Shared(const Shared&) = delete;
    T operator=(T value) noexcept {
        m_value.store(value, std::memory_order_release);
        return value;
    }
    Shared& operator=(const Shared&) = delete;
    operator T() const noexcept { return m_value.load(std::memory_order_acquire); }
    T load() const noexcept { return m_value.load(std::memory_order_acquire); }
    /// Stores and tells what was there, in one.
    T exchange(T value) noexcept { return m_value.exchange(value, std::memory_order_acq_rel); }
    /// Stores only where `expected` still stands. True when it did.
    bool replace(T expected, T value) noexcept {
        return m_value.compare_exchange_strong(expected, value, std::memory_order_acq_rel);
    }

private:
    std::atomic<T> m_value;
    static_assert(std::atomic<T>::is_always_lock_free, "a shared value must not hide a lock");
};

/// An array of shared values. Elements are whole; the array can be read half written.
/// copy() gives the plain buffer that the device library wants. Any thread.
template <class T, std::size_t N>
class SharedArray {
public:
    Shared<T>& operator[](std::size_t i) noexcept { return m_values[i]; }
    const Shared<T>& operator[](std::size_t i) const noexcept { return m_values[i]; }
    static constexpr std::size_t size() noexcept { return N; }

    std::array<T, N> copy() const noexcept {
        std::array<T, N> plain;
        for (std::size_t i = 0; i < N; ++i)
            plain[i] = m_values[i];
        return plain;
    }
    /// Takes the first N elements of a plain buffer.
    void store(const T* plain) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_values[i] = plain[i];
    }
    void fill(T value) noexcept {
        for (std::size_t i = 0; i < N; ++i)
            m_values[i] = value;
    }

private:
    std::array<Shared<T>, N> m_values;
};

/// One field of a record that the device library refreshes on the servo thread. Any thread.
template <class T>
T loadRelaxed(const T& field) noexcept {
    T value;
    __atomic_load(&field, &value, __ATOMIC_RELAXED);
    return value;
}

/// Keeps a tick that is under way from driving motors which the window has switched off meanwhile. No thread waits.
///
/// The window takes its flags down, closes the gate and then turns the amplifiers off. A tick begins ahead of reading
/// a flag, asks ahead of each call that turns amplifiers on, and takes back what it did where the gate was closed by
/// its end. So either the tick sees the closing, or all of its calls came before the window's. That holds for a
/// library without locks too: both sides end on a read-modify-write of one value, of which the later one sees the
/// earlier and all that was stored before it.
class ForceGate {
public:
    /// Any thread.
    void close() noexcept { m_closings.fetch_add(1); }
    /// For as long as it lives every tick finds the gate shut, those that begin meanwhile too. [G]
    class Hold {
    public:
        Hold(ForceGate& gate, bool wanted) noexcept : m_gate(gate), m_mine(wanted && !gate.m_held.exchange(true)) {
            if (m_mine)
                gate.close();
        }
        ~Hold() {
            if (m_mine)
                m_gate.m_held = false;
        }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        ForceGate& m_gate;
        const bool m_mine;
    };
    /// [S]
    void beginTick() noexcept {
        m_begunAt = m_closings.load();
        m_inTick = true;
    }
    /// Whether it is held, or was closed since the tick under way began; never outside a tick. [S]
    bool shut() const noexcept { return m_inTick && (m_held || m_closings.load() != m_begunAt); }
    /// As shut(), of a tick that ends; of one that ended before, whether it is held. [S]
    bool endTick() noexcept {
        const bool wasShut = m_inTick && m_closings.fetch_add(0) != m_begunAt;
        m_inTick = false;
        return wasShut || m_held;
    }

private:
    std::atomic<unsigned> m_closings{0};
    std::atomic<bool> m_held{false};
    unsigned m_begunAt = 0;  ///< the servo thread's own
    bool m_inTick = false;
};

/// Whether the servo loop goes on: its ticks count, the window looks now and then. Ticks from the servo thread, the
/// rest from the graphical one.
class LoopWatch {
public:
    enum class Change { None, StandsStill, GoesOn };

    /// [S]
    void tick() noexcept { m_ticks.fetch_add(1, std::memory_order_relaxed); }
    /// The loop was started, or is about to be stopped.
    void expect(bool running) noexcept {
        m_expected = running;
        m_still = -kFirstLooks;
        m_told = false;
    }
    /// To be called at even intervals: `kStillLooks` of them without a tick are a loop that stands still, some more of
    /// one that has only been started.
    Change look() noexcept {
        const unsigned ticks = m_ticks.load(std::memory_order_relaxed);
        const bool moved = ticks != m_seen;
        m_seen = ticks;
        if (!m_expected)
            return Change::None;
        m_still = moved ? 0 : m_still + 1;
        if (m_told ? !moved : m_still < kStillLooks)
            return Change::None;
        m_told = !m_told;
        return m_told ? Change::StandsStill : Change::GoesOn;
    }
    static constexpr int kStillLooks = 2, kFirstLooks = 2;

private:
    std::atomic<unsigned> m_ticks{0};
    unsigned m_seen = 0;
    int m_still = 0;
    bool m_expected = false;
    bool m_told = false;  ///< that it stands still
};

/// A queue of one writing and one reading thread, bounded and without locks. A full queue refuses.
/// push() on the writing thread, pop() on the reading one.
template <class T, std::size_t N>
class BoundedQueue {
    static_assert((N & (N - 1)) == 0, "size is a power of two");

public:
    bool push(const T& item) noexcept {
        const std::size_t tail = m_tail.load(std::memory_order_relaxed);
        if (tail - m_head.load(std::memory_order_acquire) == N)
            return false;
        m_items[tail & (N - 1)] = item;
        m_tail.store(tail + 1, std::memory_order_release);
        return true;
    }
    bool pop(T& item) noexcept {
        const std::size_t head = m_head.load(std::memory_order_relaxed);
        if (head == m_tail.load(std::memory_order_acquire))
            return false;
        item = m_items[head & (N - 1)];
        m_head.store(head + 1, std::memory_order_release);
        return true;
    }

private:
    std::array<T, N> m_items{};
    std::atomic<std::size_t> m_head{0};
    std::atomic<std::size_t> m_tail{0};
};
