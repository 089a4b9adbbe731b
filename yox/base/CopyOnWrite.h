#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace yox {

// A value whose copies share one object until one of them is changed: copy on write with an atomic
// reference count. It behaves as a T of its own: copies may be used by different threads at once,
// one copy may not. A default-constructed or moved-from value is a default T and allocates nothing.
template <class T>
class CopyOnWrite {
 public:
  CopyOnWrite() = default;
  CopyOnWrite(const CopyOnWrite& other) : shared_(other.shared_) {
    // Relaxed: the new reference comes from one that keeps the object alive meanwhile.
    if (shared_ != nullptr) shared_->references.fetch_add(1, std::memory_order_relaxed);
  }
  CopyOnWrite(CopyOnWrite&& other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
  CopyOnWrite& operator=(const CopyOnWrite& other) {
    CopyOnWrite(other).Swap(*this);
    return *this;
  }
  CopyOnWrite& operator=(CopyOnWrite&& other) noexcept {
    CopyOnWrite(std::move(other)).Swap(*this);
    return *this;
  }
  ~CopyOnWrite() { Release(); }

  const T& operator*() const { return shared_ != nullptr ? shared_->value : Default(); }
  const T* operator->() const { return &**this; }

  // The object for writing; copies it first if it is shared. Valid until this value is copied.
  T& Mutable() {
    if (shared_ == nullptr) {
      shared_ = new Shared{};
    } else if (shared_->references.load(std::memory_order_acquire) != 1) {
      // Acquire: a count of 1 means that the reads of the others come before our writes.
      auto* const own = new Shared{.value = shared_->value};
      Release();
      shared_ = own;
    }
    return shared_->value;
  }

 private:
  struct Shared {
    std::atomic<std::size_t> references{1};
    T value{};
  };

  static const T& Default() {
    // Never destroyed: a static value may be read after it would have been.
    static const T* const value = new T();
    return *value;
  }

  void Swap(CopyOnWrite& other) noexcept { std::swap(shared_, other.shared_); }

  // Acquire and release: the last one to release destroys the object after all others' uses of it.
  void Release() {
    if (shared_ != nullptr && shared_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete shared_;
    }
    shared_ = nullptr;
  }

  Shared* shared_ = nullptr;
};

}  // namespace yox
