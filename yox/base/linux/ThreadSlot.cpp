#include "yox/base/ThreadSlot.h"

#include <pthread.h>

#include <cerrno>
#include <new>
#include <type_traits>

namespace yox {
namespace {

static_assert(std::is_same_v<pthread_key_t, unsigned>);

pthread_key_t MakeKey(void (*destroy)(void*)) {
  pthread_key_t key = 0;
  if (pthread_key_create(&key, destroy) != 0) throw std::bad_alloc();
  return key;
}

}  // namespace

ThreadSlot::ThreadSlot(void (*destroy)(void*)) : destroy_(destroy), key_(MakeKey(destroy)) {}

// Deleting a key calls nothing.
ThreadSlot::~ThreadSlot() {
  void* const own = Get();
  pthread_key_delete(key_);
  if (own != nullptr) destroy_(own);
}

// Null for a deleted key.
void* ThreadSlot::Get() const noexcept { return pthread_getspecific(key_); }

void ThreadSlot::Set(void* pointer) {
  if (pthread_setspecific(key_, pointer) == ENOMEM) throw std::bad_alloc();
}

}  // namespace yox
