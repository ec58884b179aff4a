#pragma once
#include <cstddef>
#include <utility>
#include <vector>

namespace Quillon {

template <typename T>
using VectorIterator = typename std::vector<T>::iterator;

// The library's sequence container: a plain value, implemented here so that both sides of the
// seam share it.
template <typename T>
class Vector {
public:
    using iterator = VectorIterator<T>;

    Vector() = default;

    std::size_t size() const { return items_.size(); }
    T& operator[](std::size_t index) { return items_[index]; }
    const T& operator[](std::size_t index) const { return items_[index]; }
    iterator begin() { return items_.begin(); }
    iterator end() { return items_.end(); }
    iterator erase(iterator position) { return items_.erase(position); }
    void push_back(T item) { items_.push_back(std::move(item)); }

private:
    std::vector<T> items_;
};

}  // namespace Quillon
