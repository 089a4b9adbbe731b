#pragma once

#include <cstdint>
#include <memory>

namespace yox {

// A pointer of its own for each thread, and what happens to it when the thread ends. Used in place
// of thread_local objects with destructors: with emulated thread-local storage, as GCC has it on
// Windows, the memory of such an object may be freed before its destructor runs.
//
// For static storage. May be used from any thread, also after its destructor: then it is empty, and
// what is set is neither kept nor destroyed.
class ThreadSlot {
 public:
  // When a thread ends and its pointer is not null, `destroy(pointer)` is called on that thread.
  // Throws std::bad_alloc when the system has no slot left.
  explicit ThreadSlot(void (*destroy)(void*));
  // Destroys the calling thread's pointer; on Windows those of all other threads, too.
  ~ThreadSlot();
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  // The calling thread's pointer, null until it is set.
  void* Get() const noexcept;
  // Replaces the calling thread's pointer, without a call for the former one. Throws
  // std::bad_alloc.
  void Set(void* pointer);

 private:
  void (*const destroy_)(void*);
  const std::uint32_t key_;  // a key of POSIX threads, or an index of the fiber-local storage
};

// The calling thread's own T: made when the thread first asks, destroyed when the thread ends. T's
// destructor must not ask for the thread's own object of another type, which would never be
// destroyed on Windows. Throws std::bad_alloc, and what T's constructor throws.
template <class T>
T& ThreadOwned() {
  static ThreadSlot slot([](void* object) { delete static_cast<T*>(object); });
  if (void* const object = slot.Get(); object != nullptr) return *static_cast<T*>(object);
  auto object = std::make_unique<T>();
  slot.Set(object.get());
  return *object.release();
}

}  // namespace yox
