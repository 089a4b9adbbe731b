#include "yox/base/HazardMark.h"

#include "yox/base/ProcessFence.h"
#include "yox/base/ThreadSlot.h"

namespace yox {
namespace {

constinit std::atomic<void*> g_all{nullptr};  // the list of all Marks; only grows

bool HasFence() {
  static const bool has_fence = HasProcessFence();
  return has_fence;
}

}  // namespace

constinit thread_local HazardMark::Marks* HazardMark::t_marks_ = nullptr;

HazardMark::Marks& HazardMark::Marks::More(Marks* taken) {
  Marks* const more = Take();
  more->outer = taken;
  t_marks_ = more;
  if (taken == nullptr) {
    static ThreadSlot first_of_thread(&Marks::Leave);
    first_of_thread.Set(more);
  }
  return *more;
}

HazardMark::Marks* HazardMark::Marks::Take() {
  for (auto* marks = static_cast<Marks*>(g_all.load(std::memory_order_acquire)); marks != nullptr;
       marks = marks->next) {
    // Acquire: the former owner is done with it.
    if (!marks->is_owned.exchange(true, std::memory_order_acquire)) return marks;
  }
  auto* const marks = new Marks;
  marks->needs_fence = !HasFence();
  void* first = g_all.load(std::memory_order_relaxed);
  do {
    marks->next = static_cast<Marks*>(first);
    // Sequentially consistent, like the load in IsInUse: a mark in a list that is not seen there is
    // made by a thread that sees the new pointer.
  } while (!g_all.compare_exchange_weak(first, marks));
  return marks;
}

void HazardMark::Marks::Leave(void* first) {
  t_marks_ = nullptr;
  static_cast<Marks*>(first)->is_owned.store(false, std::memory_order_release);
}

void HazardMark::Marks::GiveBack() {
  t_marks_ = outer;
  outer = nullptr;
  is_owned.store(false, std::memory_order_release);
}

bool HazardMark::IsInUse(const void* object) {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (HasFence()) ProcessFence();
  for (auto* marks = static_cast<Marks*>(g_all.load()); marks != nullptr; marks = marks->next) {
    for (const auto& seat : marks->seats) {
      if (seat.load(std::memory_order_acquire) == object) return true;
    }
  }
  return false;
}

}  // namespace yox
