#pragma once

namespace yox_test {

// Lets a test call a private member function without a friend in the header under test: the names
// in an explicit instantiation are exempt from access checks.
//
//   struct Clear : yox_test::PrivateMember<Clear, void (Thing::*)()> {};
//   template struct yox_test::Reach<Clear, &Thing::Clear>;  // outside the anonymous namespace
//   ... (thing.*Reached(Clear{}))();
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-template-friend"
#endif
template <class Tag, class Pointer>
struct PrivateMember {
  using Type = Pointer;
  friend Pointer Reached(Tag);
};
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

template <class Tag, typename Tag::Type kMember>
struct Reach {
  friend typename Tag::Type Reached(Tag) { return kMember; }
};

}  // namespace yox_test
