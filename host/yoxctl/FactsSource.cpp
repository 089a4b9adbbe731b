#include "host/yoxctl/FactsSource.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "yox/applicability/SimulatedProcess.h"
#include "yox/base/Document.h"
#include "yox/base/StrictJson.h"
#include "yox/base/ThreadSafety.h"
#include "yox/decision/FactsDocument.h"
#include "yox/platform/simulated/DeviceProfileReader.h"

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/InputBytes.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

using yox::applicability::FactsOf;
using yox::facts::FactsLine;

constexpr std::size_t kBatchSize = std::size_t{256} * 1024;
constexpr std::size_t kNamed = 10;  // of what is wrong
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string Place(const std::string& file, std::size_t number) {
  return file + ", line " + std::to_string(number);
}

// "FILE, line 2, column 7: WHAT"; an error of the whole document has the place where it begins.
std::string Placed(const std::string& file, std::size_t number, const yox::DocumentError& error) {
  return error.place() ? file + ", " + error.what() : Place(file, number) + ": " + error.what();
}

// Lines are long: finding their ends is faster than counting bytes.
std::size_t LinesIn(std::string_view text) {
  std::size_t lines = 0;
  for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) ++lines;
  return lines;
}

bool IsBlank(std::string_view line) { return line.find_first_not_of(" \t\r") == line.npos; }

// A set of hashes: open addressing, at most three quarters full.
class HashSet {
 public:
  // Returns false when it is there already.
  bool Insert(std::uint64_t hash) {
    if (4 * (count_ + 1) > 3 * slots_.size()) Grow();
    const std::size_t slot = SlotOf(slots_, hash = std::max<std::uint64_t>(hash, 1));
    if (slots_[slot] == hash) return false;
    slots_[slot] = hash;
    ++count_;
    return true;
  }

 private:
  static std::size_t SlotOf(const std::vector<std::uint64_t>& slots, std::uint64_t hash) {
    std::size_t slot = hash & (slots.size() - 1);
    while (slots[slot] != 0 && slots[slot] != hash) slot = (slot + 1) & (slots.size() - 1);
    return slot;
  }
  void Grow() {
    std::vector<std::uint64_t> larger(std::max<std::size_t>(1024, 2 * slots_.size()));
    for (const std::uint64_t hash : slots_) {
      if (hash != 0) larger[SlotOf(larger, hash)] = hash;
    }
    slots_ = std::move(larger);
  }

  std::vector<std::uint64_t> slots_;  // 0: empty
  std::size_t count_ = 0;
};

// 64 bits on every system: FNV-1a, mixed as in MurmurHash3's end.
std::uint64_t HashOf(std::string_view id) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : id) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  hash = (hash ^ (hash >> 33)) * 0xff51afd7ed558ccd;
  hash = (hash ^ (hash >> 33)) * 0xc4ceb9fe1a85ec53;
  return hash ^ (hash >> 33);
}

// A profile has sections that no facts document has, or those that both have in another form.
bool IsProfile(const Json::Value& document) {
  constexpr const char* kSections[] = {
      "clock",        "client",           "region",         "user",          "devices",
      "accelerators", "display_adapters", "installed_apps", "store_apps",    "services",
      "join",         "organisation",     "developer",      "configuration", "first_run_date"};
  if (!document.isObject()) return false;
  const auto has_objects = [](const Json::Value& values) {
    return std::any_of(values.begin(), values.end(),
                       [](const Json::Value& value) { return value.isObject(); });
  };
  const Json::Value& registry = document["registry"];
  return document["os"].isObject() || document["firmware"].isObject() ||
         std::any_of(registry.begin(), registry.end(), has_objects) ||
         std::ranges::any_of(kSections,
                             [&](const char* section) { return document.isMember(section); });
}

}  // namespace

bool FactsBatch::Next() {
  while (at_ < size_) {
    const std::string_view rest = std::string_view(text_).substr(at_, size_ - at_);
    const std::size_t end = is_whole_ ? rest.size() : std::min(rest.find('\n'), rest.size());
    const std::string_view document = rest.substr(0, end);
    at_ += end + 1;
    number_ = first_line_++;
    if (!is_whole_ && IsBlank(document)) continue;
    try {
      line_->Read(document, number_);
    } catch (const yox::DocumentError& error) {
      if (++bad_count_ <= kNamed) bad_.push_back(Placed(file_, number_, error));
      continue;
    }
    id_ = line_->id().empty() ? std::string_view(own_id_) : line_->id();
    if (!id_.empty()) ids_.push_back({HashOf(id_), std::string(id_), number_});
    document_ = document;
    ++devices_;
    return true;
  }
  return false;
}

// Cuts the sources into batches. For one thread at a time.
class FactsReader {
 public:
  explicit FactsReader(const FactsInput& input) : input_(input) {
    for (const std::string& source : input.sources) AddSource(source);
  }

  // Returns false at the end of the last source. Throws Refusal.
  bool Next(FactsBatch& batch) {
    for (; next_ < files_.size(); ++next_) {
      if (files_[next_].is_whole) {
        ReadWhole(files_[next_++].argument, batch);
        return true;
      }
      if (!bytes_) Open(files_[next_].argument);
      if (ReadLines(batch)) return true;
      taken_before_ += bytes_->taken();
      bytes_.reset();
    }
    return false;
  }

  std::uint64_t all_bytes() const { return all_bytes_; }

 private:
  struct File {
    std::string argument;
    bool is_whole;
  };

  void AddSource(const std::string& source) {
    std::error_code error;
    const std::filesystem::path path = PathOf(source);
    if (source == "-" || !std::filesystem::is_directory(path, error)) {
      AddFile(source, path.extension() == ".json");
      return;
    }
    std::vector<std::string> documents;
    for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
      if (entry.path().extension() == ".json") documents.push_back(PathText(entry.path()));
    }
    if (error) throw Refusal(NameOf(source) + ": " + error.message());
    if (documents.empty()) throw Refusal(NameOf(source) + ": no .json file in the folder");
    std::ranges::sort(documents);
    for (const std::string& document : documents) AddFile(document, true);
  }

  void AddFile(const std::string& argument, bool is_whole) {
    files_.push_back({argument, is_whole});
    std::error_code error;
    const auto size = std::filesystem::file_size(PathOf(argument), error);
    if (error || argument == "-" || IsDatabase(argument)) {
      is_size_known_ = false;
    } else {
      sizes_ += size;
    }
    all_bytes_ = is_size_known_ ? sizes_ : 0;
  }

  void Open(const std::string& argument) {
    bytes_.emplace(argument);
    rest_.clear();
    line_ = 1;
    is_at_end_ = false;
    is_first_ = true;
  }

  // Fills the batch with whole lines. Returns false at the end of the file.
  bool ReadLines(FactsBatch& batch) {
    std::string& text = batch.text_;
    std::size_t size = rest_.size();
    Grow(text, size);
    rest_.copy(text.data(), size);
    std::size_t lines_end = std::string::npos;
    while (!is_at_end_ && lines_end == std::string::npos) {
      size = ReadBlock(text, size);
      lines_end = std::string_view(text).substr(0, size).rfind('\n');
      if (lines_end == std::string::npos && size > yox::kMaxDocumentSize) {
        size = SkipLongLine(text, batch);
        lines_end = std::string_view(text).substr(0, size).rfind('\n');
      }
    }
    if (std::exchange(is_first_, false) && size >= kByteOrderMark.size() &&
        text.starts_with(kByteOrderMark)) {
      text.replace(0, kByteOrderMark.size(), kByteOrderMark.size(), ' ');
    }
    batch.size_ = is_at_end_ ? size : lines_end + 1;
    rest_.assign(text, batch.size_, size - batch.size_);
    batch.file_ = bytes_->name();
    batch.first_line_ = line_;
    batch.bytes_taken_ = taken_before_ + bytes_->taken();
    line_ += LinesIn(std::string_view(text).substr(0, batch.size_));
    return batch.size_ > 0 || !batch.bad_.empty();
  }

  // The buffer only ever grows: what is in it is overwritten.
  static void Grow(std::string& text, std::size_t size) {
    if (text.size() < size + FactsLine::kPadding) text.resize(size + FactsLine::kPadding);
  }

  // Reads on after the first `size` bytes, and returns how many there are then.
  std::size_t ReadBlock(std::string& text, std::size_t size) {
    Grow(text, size + kBatchSize);
    const std::size_t count = bytes_->Read(text.data() + size, kBatchSize);
    is_at_end_ = count == 0;
    return size + count;
  }

  // A line that no document may be as long as is bad, and is not kept. Reads up to its end, so that
  // a blank line is in its place, and returns how many bytes of the text there are then.
  std::size_t SkipLongLine(std::string& text, FactsBatch& batch) {
    batch.bad_count_ = 1;
    batch.bad_.push_back(Place(bytes_->name(), line_) + ": " + yox::kTooLongDocument);
    while (!is_at_end_) {
      const std::size_t size = ReadBlock(text, 0);
      const std::size_t end = std::string_view(text).substr(0, size).find('\n');
      if (end == std::string::npos) continue;
      text.erase(0, end);
      return size - end;
    }
    return 0;
  }

  void ReadWhole(const std::string& argument, FactsBatch& batch) {
    const std::string name = NameOf(argument);
    try {
      batch.text_ = yox::ReadDocumentFile(PathOf(argument));
    } catch (const yox::DocumentError& error) {
      throw Refusal(name + ": " + error.what());
    }
    taken_before_ += batch.text_.size();
    batch.bytes_taken_ = taken_before_;
    batch.file_ = name;
    batch.own_id_ = PathText(PathOf(argument).stem());
    batch.is_whole_ = true;
    try {
      const Json::Value document = yox::ParseDocument(batch.text_);
      if (IsProfile(document)) {
        const auto profile = yox::platform::ReadDeviceProfile(batch.text_);
        batch.text_ = FactsJson(FactsOf(profile, input_.lists));
      }
    } catch (const yox::DocumentError& error) {
      batch.bad_count_ = 1;
      batch.bad_.push_back(Placed(name, 1, error));
      batch.text_.clear();
    }
    batch.size_ = batch.text_.size();
    batch.text_.append(FactsLine::kPadding, '\n');
  }

  const FactsInput& input_;
  std::vector<File> files_;
  std::size_t next_ = 0;
  std::optional<InputBytes> bytes_;
  std::string rest_;  // the beginning of a line
  std::size_t line_ = 1;
  bool is_at_end_ = false;
  bool is_first_ = true;
  bool is_size_known_ = true;
  std::uint64_t sizes_ = 0;
  std::uint64_t all_bytes_ = 0;
  std::uint64_t taken_before_ = 0;
};

// The threads of one reading. Batches are numbered in the order of the input; a thread takes the
// next one, works on it and leaves the result for the calling thread, which delivers them in order.
class FactsThreads {
 public:
  FactsThreads(const FactsInput& input, const FactsWork& work)
      : work_(work), skip_bad_(input.skip_bad), reader_(input) {
    count_.all_bytes = reader_.all_bytes();
    std::size_t jobs = input.jobs;
    if (jobs == 0) jobs = std::max(1U, std::thread::hardware_concurrency());
    most_ahead_ = 4 * jobs;
    for (std::size_t i = 0; i < jobs; ++i) threads_.emplace_back([this] { Work(); });
  }
  ~FactsThreads() {
    Stop();
    for (std::thread& thread : threads_) thread.join();
  }
  FactsThreads(const FactsThreads&) = delete;
  FactsThreads& operator=(const FactsThreads&) = delete;

  FactsCount Deliver(const std::function<void(const FactsCount&)>& progress) {
    while (std::optional<Result> result = Take()) {
      if (result->error) std::rethrow_exception(result->error);
      Check(result->batch);
      if (result->deliver) result->deliver();
      if (progress) progress(count_);
    }
    return std::move(count_);
  }

 private:
  struct Result {
    FactsBatch batch = {};
    std::function<void()> deliver = {};
    std::exception_ptr error = {};
  };

  void Stop() {
    const yox::MutexLock lock(mutex_);
    is_stopped_ = true;
    changed_.NotifyAll();
  }

  void Work() {
    FactsLine line;
    std::string buffer;
    while (true) {
      Result result;
      result.batch.text_ = std::move(buffer);
      const std::optional<std::size_t> number = Read(result);
      if (!number) return;
      if (!result.error) {
        try {
          result.batch.line_ = &line;
          result.deliver = work_(result.batch);
          while (result.batch.Next()) {
          }
        } catch (...) {
          result.error = std::current_exception();
        }
      }
      buffer = std::move(result.batch.text_);
      const yox::MutexLock lock(mutex_);
      results_.emplace(*number, std::move(result));
      changed_.NotifyAll();
    }
  }

  // The next batch of the input, or what prevents it from being read, and its number.
  std::optional<std::size_t> Read(Result& result) {
    const yox::MutexLock reading(reader_mutex_);
    {
      yox::MutexLock lock(mutex_);
      while (!is_stopped_ && read_ - delivered_ >= most_ahead_) changed_.Wait(lock);
      if (is_stopped_ || is_read_) return std::nullopt;
    }
    bool is_there = true;
    try {
      is_there = reader_.Next(result.batch);
    } catch (...) {
      result.error = std::current_exception();
    }
    const yox::MutexLock lock(mutex_);
    is_read_ = !is_there || result.error;
    changed_.NotifyAll();
    if (!is_there) return std::nullopt;
    return read_++;
  }

  // The next result in order; std::nullopt after the last.
  std::optional<Result> Take() {
    yox::MutexLock lock(mutex_);
    while (!results_.contains(delivered_) && !(is_read_ && delivered_ == read_)) {
      changed_.Wait(lock);
    }
    const auto next = results_.find(delivered_);
    if (next == results_.end()) return std::nullopt;
    Result result = std::move(next->second);
    results_.erase(next);
    ++delivered_;
    changed_.NotifyAll();
    return result;
  }

  void Check(FactsBatch& batch) {
    if (batch.bad_count_ > 0 && !skip_bad_) throw Refusal(batch.bad_.front());
    Keep(batch.bad_, count_.first_bad);
    count_.bad += batch.bad_count_;
    for (const FactsBatch::Named& device : batch.ids_) {
      if (ids_.Insert(device.hash)) continue;
      const std::string what = Place(batch.file_, device.number) + ": the id \"" + device.id +
                               "\" is that of an earlier device";
      if (!skip_bad_) throw Refusal(what);
      ++count_.repeated;
      Keep({what}, count_.first_repeated);
    }
    count_.devices += batch.devices_;
    count_.bytes = batch.bytes_taken_;
  }

  static void Keep(const std::vector<std::string>& all, std::vector<std::string>& first) {
    for (const std::string& what : all) {
      if (first.size() < kNamed) first.push_back(what);
    }
  }

  const FactsWork& work_;
  const bool skip_bad_;
  std::size_t most_ahead_ = 0;
  HashSet ids_;       // of the calling thread
  FactsCount count_;  // the same

  yox::Mutex reader_mutex_ YOX_ACQUIRED_BEFORE(mutex_);
  FactsReader reader_ YOX_GUARDED_BY(reader_mutex_);
  yox::Mutex mutex_;
  yox::ConditionVariable changed_;
  std::map<std::size_t, Result> results_ YOX_GUARDED_BY(mutex_);
  std::size_t read_ YOX_GUARDED_BY(mutex_) = 0;
  std::size_t delivered_ YOX_GUARDED_BY(mutex_) = 0;
  bool is_read_ YOX_GUARDED_BY(mutex_) = false;
  bool is_stopped_ YOX_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> threads_;
};

FactsCount ReadFleet(const FactsInput& input, const FactsWork& work,
                     const std::function<void(const FactsCount&)>& progress) {
  return FactsThreads(input, work).Deliver(progress);
}

void ComplainOf(const FactsCount& count) {
  const auto complain = [](std::uint64_t number, const char* one, const char* several,
                           const std::vector<std::string>& first) {
    if (number == 0) return;
    Complain(std::to_string(number) + (number == 1 ? one : several));
    for (const std::string& what : first) Complain(what);
  };
  complain(count.bad, " device was left out:", " devices were left out, among them the first:",
           count.first_bad);
  complain(count.repeated, " device has the id of an earlier one:",
           " devices have the id of an earlier one, among them the first:", count.first_repeated);
}

}  // namespace yoxctl
