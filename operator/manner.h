// How one operator does what the tabs ask: speeds, places, strength, waiting, which first. The same seed does the
// same.
#pragma once

#include <algorithm>
#include <random>
#include <vector>

class Manner {
public:
    /// Seed 0 is the usual manner: the middle of each range, and everything in its order.
    explicit Manner(unsigned seed) : m_usual(seed == 0), m_random(seed * 2654435761u + 1u) {}

    double between(double low, double high) {
        const double share = static_cast<double>(m_random()) / 4294967296.0;
        return m_usual ? 0.5 * (low + high) : low + share * (high - low);
    }
    /// Milliseconds.
    int wait(int least, int most) { return static_cast<int>(between(least, most)); }
    /// The numbers from 0 on, in the operator's order.
    std::vector<int> order(int count) {
        std::vector<int> numbers(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            numbers[static_cast<std::size_t>(i)] = i;
        for (int i = count - 1; i > 0 && !m_usual; --i)
            std::swap(numbers[static_cast<std::size_t>(i)], numbers[m_random() % static_cast<unsigned>(i + 1)]);
        return numbers;
    }

private:
    bool m_usual;
    std::mt19937 m_random;
};

/// Of whoever has no manner of their own.
Manner& usualManner();
