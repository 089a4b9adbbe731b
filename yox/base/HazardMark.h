#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace yox {

// Marks an object as in use by the current thread for the length of a block, so that another thread
// puts off freeing what the object published. These are hazard pointers after Michael; the order
// between the mark and what is read after it is made by the thread that frees (ProcessFence.h), so
// that a mark costs a plain store.
//
// To read: mark, then load the published pointer. To free: publish another pointer first, then
// free the former one if IsInUse returns false. Marks of a thread nest like blocks.
class HazardMark {
 public:
  // Throws std::bad_alloc, when a thread marks for the first time or many at once.
  explicit HazardMark(const void* object) : marks_(Marks::WithRoom()) {
    // Release, too: a thread that sees this mark sees the former user of the seat done.
    marks_.seats[marks_.taken++].store(object, std::memory_order_release);
    if (marks_.needs_fence) {
      std::atomic_thread_fence(std::memory_order_seq_cst);
    } else {
      std::atomic_signal_fence(std::memory_order_seq_cst);
    }
  }
  // Release: what was read under the mark was read before.
  ~HazardMark() {
    marks_.seats[--marks_.taken].store(nullptr, std::memory_order_release);
    if (marks_.taken == 0 && marks_.outer != nullptr) marks_.GiveBack();
  }
  HazardMark(const HazardMark&) = delete;
  HazardMark& operator=(const HazardMark&) = delete;

  // Whether a thread has marked the object and may have read what was published before the call.
  static bool IsInUse(const void* object);

 private:
  // Seats of one thread, which goes on to further ones when these are taken. Never freed: a thread
  // that ends leaves them to another.
  struct Marks {
    std::array<std::atomic<const void*>, 8> seats{};
    std::size_t taken = 0;
    bool needs_fence = true;
    Marks* outer = nullptr;  // of the same thread, all taken
    std::atomic<bool> is_owned{true};
    Marks* next = nullptr;  // in the list of all

    // Returns those of the thread that have a seat left.
    static Marks& WithRoom() {
      Marks* const marks = t_marks_;
      if (marks != nullptr && marks->taken < marks->seats.size()) [[likely]]
        return *marks;
      return More(marks);
    }
    static Marks& More(Marks* taken);
    static Marks* Take();
    static void Leave(void* first);  // the thread's first ones, when it ends
    void GiveBack();
  };

  // Of the thread, the ones with room; null at first. Without a destructor: a mark made by another
  // thread-local object's destructor still finds it.
  static constinit thread_local Marks* t_marks_;

  Marks& marks_;
};

}  // namespace yox
