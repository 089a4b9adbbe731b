#pragma once

namespace yox {

// Calls `function(argument)` when the calling thread ends, on that thread; at most one registration
// for each thread. For what a thread_local object's destructor cannot do: with emulated
// thread-local storage, as GCC has it on Windows, the objects' memory may be freed before the
// destructors run. Throws std::bad_alloc. If the library is unloaded before, the function is called
// then.
void CallAtThreadEnd(void (*function)(void*), void* argument);

}  // namespace yox
