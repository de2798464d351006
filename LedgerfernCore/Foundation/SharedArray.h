#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace ledgerfern {

/// An array that only grows, whose copies share their storage.
///
/// A parser goes on appending to its array while results that it published earlier are read by other threads,
/// and the elements are held once between them. The idea: a copy remembers its own length and never looks
/// behind it, and a block of storage counts how many of its places are taken. Whoever appends takes the next
/// place, if its own length says that this place is free; if another copy has taken it, or the block is full,
/// it moves to a block of its own. So an element that any copy can see is never written again, except by
/// `mutableFrom` (see there).
///
/// Different copies may be used from different threads without a lock; one copy, like any value, may not.
template <class T>
class SharedArray {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    SharedArray() = default;
    SharedArray(const SharedArray&) = default;
    SharedArray& operator=(const SharedArray&) = default;
    /// An array that was moved from is empty.
    SharedArray(SharedArray&& other) noexcept
        : block_(std::move(other.block_)), size_(std::exchange(other.size_, 0)) {}
    SharedArray& operator=(SharedArray&& other) noexcept {
        block_ = std::move(other.block_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }
    ~SharedArray() = default;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const T* data() const { return block_ ? block_->items.get() : nullptr; }
    const T& operator[](std::size_t index) const { return data()[index]; }
    std::span<const T> span() const { return {data(), size_}; }
    const T* begin() const { return data(); }
    const T* end() const { return data() + size_; }

    void push_back(const T& item) { append(&item, 1); }

    /// The items may be the array's own.
    void append(const T* items, std::size_t count) {
        if (count == 0) return;
        std::shared_ptr<Block> previous;  // kept until the items, which may lie in it, are copied
        if (!claim(count)) {
            previous = moveToOwnBlock(size_ + count + size_ / 2 + 3);
            block_->taken.store(size_ + count, std::memory_order_relaxed);
        }
        std::memcpy(static_cast<void*>(block_->items.get() + size_), items, count * sizeof(T));
        size_ += count;
    }

    /// The elements from `index` on, to be changed in place. The caller must have appended them itself since
    /// it was last copied: no other copy may see them yet.
    std::span<T> mutableFrom(std::size_t index) {
        return size_ == index ? std::span<T>{} : std::span<T>{block_->items.get() + index, size_ - index};
    }

    /// Moves to storage of exactly the array's length, if a good part of the present one is free.
    void shrinkToFit() {
        if (block_ && block_->capacity - size_ > size_ / 8) moveToOwnBlock(size_);
    }

    /// True where both are the same elements in the same place.
    bool sharesStorageWith(const SharedArray& other) const { return block_ == other.block_; }

private:
    struct Block {
        explicit Block(std::size_t places)
            : capacity(places), items(std::make_unique_for_overwrite<T[]>(places)) {}
        std::atomic<std::size_t> taken{0};
        std::size_t capacity;
        std::unique_ptr<T[]> items;
    };

    /// Takes the next `count` places of the block; false where it is full or another copy has taken them.
    bool claim(std::size_t count) {
        if (!block_ || size_ + count > block_->capacity) return false;
        std::size_t expected = size_;
        return block_->taken.compare_exchange_strong(expected, size_ + count, std::memory_order_relaxed);
    }

    /// Returns the block that the array has left.
    std::shared_ptr<Block> moveToOwnBlock(std::size_t capacity) {
        if (capacity == 0) return std::exchange(block_, nullptr);
        auto block = std::make_shared<Block>(capacity);
        if (size_ > 0) std::memcpy(static_cast<void*>(block->items.get()), data(), size_ * sizeof(T));
        block->taken.store(size_, std::memory_order_relaxed);
        return std::exchange(block_, std::move(block));
    }

    std::shared_ptr<Block> block_;
    std::size_t size_ = 0;
};

}  // namespace ledgerfern
