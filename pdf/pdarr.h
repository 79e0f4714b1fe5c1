// PDArr: the library's growable array. Each user chooses its own growth step.
#pragma once

#include "streams/pddiag.h"

#include <algorithm>
#include <cstdint>
#include <vector>

template <class T> class PDArr {
public:
    explicit PDArr(int growStep = 16) : m_step(growStep > 0 ? growStep : 16) {}

    void Append(T item) {
        if (m_items.size() == m_items.capacity())
            m_items.reserve(std::max(m_items.size() + static_cast<size_t>(m_step),
                                     m_items.size() + m_items.size() / 2));
        m_items.push_back(item);
    }
    // Item at i; out of range reports and gives a zero item.
    T Get(int i) const {
        if (i < 0 || static_cast<size_t>(i) >= m_items.size()) {
            PDReport("PDArr: index out of range\n");
            return T{};
        }
        return m_items[static_cast<size_t>(i)];
    }
    void Set(int i, T item) {
        if (i < 0 || static_cast<size_t>(i) >= m_items.size()) {
            PDReport("PDArr: index out of range\n");
            return;
        }
        m_items[static_cast<size_t>(i)] = item;
    }
    // Removes and returns the last item. On an empty array it reports and returns a zero item.
    T Take() {
        if (m_items.empty()) {
            PDReport("PDArr::Take - m_count is 0\n");
            return T{};
        }
        T item = m_items.back();
        m_items.pop_back();
        return item;
    }
    int Count() const noexcept { return static_cast<int>(m_items.size()); }
    void Clear() noexcept { m_items.clear(); }
    const T* begin() const noexcept { return m_items.data(); }
    const T* end() const noexcept { return m_items.data() + m_items.size(); }

private:
    std::vector<T> m_items;
    int m_step;
};
