#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "yox/applicability/IndexedPairs.h"
#include "yox/base/Published.h"
#include "yox/decision/PreparedDevice.h"

namespace yox::applicability {

// The tags of the process's collection with their index, for the decisions of the running service:
// kept until the collection has another list. Safe from any thread.
class KeptTags {
 public:
  // Keeps the tags of a generation of the collection. What was kept before is freed once no lease
  // is left.
  void Keep(std::shared_ptr<const IndexedPairs> tags, std::uint64_t generation) {
    kept_.Set(std::make_shared<const Kept>(std::move(tags), generation));
  }

  // What is kept at the moment of construction. Leases of a thread nest like blocks.
  class Lease {
   public:
    explicit Lease(const KeptTags& tags) : kept_(tags.kept_) {}

    // Returns the tags if they are of that generation, otherwise null. Valid while the lease lives.
    const decision::PreparedPairs* Get(std::uint64_t generation) const {
      return kept_->tags != nullptr && kept_->generation == generation ? &kept_->tags->index
                                                                       : nullptr;
    }

   private:
    friend class KeptTags;
    struct Kept {
      Kept(std::shared_ptr<const IndexedPairs> given, std::uint64_t of)
          : tags(std::move(given)), generation(of) {}
      std::shared_ptr<const IndexedPairs> tags;
      std::uint64_t generation;
    };
    const Published<Kept>::Lease kept_;
  };

 private:
  using Kept = Lease::Kept;

  Published<Kept> kept_{std::make_shared<const Kept>(nullptr, 0)};
};

}  // namespace yox::applicability
