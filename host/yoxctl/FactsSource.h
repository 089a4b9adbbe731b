#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "yox/decision/Filter.h"
#include "yox/facts/FactsLine.h"

namespace yoxctl {

// The facts of many devices, streamed from files: each of
//   FILE.jsonl, FILE.jsonl.gz   a facts document on each line; blank lines do not count
//   FILE.json                   one facts document or device profile
//   FOLDER                      the documents FOLDER/*.json, by name; not those of its folders
//   -                           standard input, lines as in a file
//   postgresql://..., FILE.db   an inventory in a database (Inventory.h), by id
// A document of a file of its own whose device has no `id` is called as the file is, without
// ".json".

struct FactsInput {
  std::vector<std::string> sources;
  // Leaves lines out that are no facts documents, instead of refusing the input.
  bool skip_bad = false;
  // How many threads read and decide; 0: one for each processor.
  std::size_t jobs = 0;
  // Of a device profile's registry, what these ask for is read. Has to outlive the reading.
  std::span<const ApplicabilityFilter> lists = {};
};

// What was met up to now.
struct FactsCount {
  std::uint64_t devices = 0;   // read, and handed on
  std::uint64_t bad = 0;       // left out
  std::uint64_t repeated = 0;  // devices of an id that an earlier one has, which count nevertheless
  std::vector<std::string> first_bad;       // the first ten, "FILE, line 17: PATH: WHAT"
  std::vector<std::string> first_repeated;  // the same
  std::uint64_t bytes = 0;                  // of the files, compressed ones as they are
  std::uint64_t all_bytes = 0;              // that the files have; 0 when that is not known
};

class FactsReader;

// Some consecutive devices of the input, for one thread.
class FactsBatch {
 public:
  // Moves to the next device; returns false after the last. Devices that are bad are left out.
  bool Next();

  // Of the current device; valid until Next. Decide with yox::facts::LineFacts.
  const yox::facts::FactsLine& line() const { return *line_; }
  std::string_view id() const { return id_; }
  std::string_view document() const { return document_; }
  const std::string& file() const { return file_; }
  std::size_t line_number() const { return number_; }

 private:
  friend class FactsReader;
  friend class FactsThreads;

  // An id and where its device is.
  struct Named {
    std::uint64_t hash;
    std::string id;
    std::size_t number;
  };

  std::string text_;      // with padding
  std::size_t size_ = 0;  // without
  std::string file_;
  std::string own_id_;  // of a document that has none
  std::size_t first_line_ = 1;
  bool is_whole_ = false;  // one document, of several lines
  yox::facts::FactsLine* line_ = nullptr;

  std::size_t at_ = 0;
  std::size_t number_ = 0;
  std::string_view id_;
  std::string_view document_;
  std::uint64_t devices_ = 0;
  std::vector<Named> ids_;
  std::vector<std::string> bad_;
  std::uint64_t bad_count_ = 0;
  std::uint64_t bytes_taken_ = 0;
};

// Called on one of several threads for each batch. What it returns is called on the thread that
// called ReadFleet, one after the other in the order of the input; the batch is gone by then.
using FactsWork = std::function<std::function<void()>(FactsBatch& batch)>;

// Reads all devices. Memory does not grow with their number, but for 16 bytes for each `id`, by
// which a repeated one is found. `progress`, if there is any, is called on the calling thread after
// each batch.
//
// Throws Refusal for an input that cannot be read, a line that is no facts document, and a device
// whose id an earlier one has; with skip_bad, only for the first of these. Nothing of a batch with
// such a device is delivered. What `work` or a delivery throws ends the reading and leaves it.
FactsCount ReadFleet(const FactsInput& input, const FactsWork& work,
                     const std::function<void(const FactsCount&)>& progress = {});

// Says on standard error what was left out and repeated, if anything was.
void ComplainOf(const FactsCount& count);

}  // namespace yoxctl
