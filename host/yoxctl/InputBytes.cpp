#include "host/yoxctl/InputBytes.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <system_error>
#include <utility>

#include "host/yoxctl/CommandLine.h"
#include "host/yoxctl/Inventory.h"
#include "host/yoxctl/Output.h"

namespace yoxctl {
namespace {

constexpr std::size_t kCompressedBlock = 64 * 1024;

}  // namespace

// The bytes that were read, and those that zlib has decompressed.
struct InputBytes::Inflater {
  Inflater() {
    constexpr int kGzipOnly = 16 + MAX_WBITS;
    if (inflateInit2(&stream, kGzipOnly) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  z_stream stream = {};
  char block[kCompressedBlock] = {};
  bool is_in_member = true;
};

InputBytes::InputBytes(const std::string& argument)
    : name_(argument == "-"        ? "standard input"
            : IsDatabase(argument) ? NameOfDatabase(argument)
                                   : NameOf(argument)) {
  if (argument == "-") return;
  if (IsDatabase(argument)) {
    inventory_ = OpenInventory(argument, false);
    inventory_->BeginDevices();
    return;
  }
  const std::filesystem::path path = PathOf(argument);
  auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!file->is_open()) {
    std::error_code error;
    const bool is_there = std::filesystem::exists(path, error);
    throw Refusal(name_ + (is_there ? ": cannot be opened" : ": no such file"));
  }
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error)) {
    size_ = static_cast<std::uint64_t>(std::filesystem::file_size(path, error));
    if (error) size_ = 0;
  }
  file_ = std::move(file);
}

InputBytes::~InputBytes() = default;

std::size_t InputBytes::ReadRows(char* bytes, std::size_t size) {
  std::size_t count = 0;
  while (count < size && !is_at_end_) {
    if (row_.empty()) {
      is_at_end_ = !inventory_->NextFacts(row_);
      if (is_at_end_) break;
      row_ += '\n';
    }
    const std::size_t part = std::min(size - count, row_.size());
    std::memcpy(bytes + count, row_.data(), part);
    row_.erase(0, part);
    count += part;
  }
  taken_ += count;
  return count;
}

std::size_t InputBytes::Read(char* bytes, std::size_t size) {
  if (inventory_ != nullptr) return ReadRows(bytes, size);
  if (!has_begun_) {
    has_begun_ = true;
    char first[2];
    first_bytes_.assign(first, ReadRaw(first, sizeof first));
    if (first_bytes_ == "\x1f\x8b") inflater_ = std::make_unique<Inflater>();
  }
  return inflater_ != nullptr ? Inflate(bytes, size) : ReadRaw(bytes, size);
}

std::size_t InputBytes::ReadRaw(char* bytes, std::size_t size) {
  const std::size_t kept = std::min(size, first_bytes_.size());
  std::memcpy(bytes, first_bytes_.data(), kept);
  first_bytes_.erase(0, kept);
  std::istream& input = file_ != nullptr ? *file_ : std::cin;
  input.read(bytes + kept, static_cast<std::streamsize>(size - kept));
  if (input.bad()) throw Refusal(name_ + ": cannot be read");
  const auto count = static_cast<std::size_t>(input.gcount());
  taken_ += count;
  return kept + count;
}

std::size_t InputBytes::Inflate(char* bytes, std::size_t size) {
  z_stream& stream = inflater_->stream;
  stream.next_out = reinterpret_cast<Bytef*>(bytes);
  stream.avail_out = static_cast<uInt>(std::min<std::size_t>(size, 1U << 30));
  const uInt wanted = stream.avail_out;
  while (stream.avail_out == wanted) {
    if (stream.avail_in == 0) {
      stream.next_in = reinterpret_cast<Bytef*>(inflater_->block);
      stream.avail_in = static_cast<uInt>(ReadRaw(inflater_->block, kCompressedBlock));
      if (stream.avail_in == 0) {
        if (inflater_->is_in_member) {
          throw Refusal(name_ + ": ends in the middle of a gzip member: the file is cut");
        }
        return 0;
      }
    }
    if (!std::exchange(inflater_->is_in_member, true)) inflateReset(&stream);
    const int result = inflate(&stream, Z_NO_FLUSH);
    if (result == Z_STREAM_END) {
      inflater_->is_in_member = false;
    } else if (result != Z_OK && result != Z_BUF_ERROR) {
      const char* const what = stream.msg != nullptr ? stream.msg : "no gzip member";
      throw Refusal(name_ + ": damaged gzip data: " + what);
    }
  }
  return wanted - stream.avail_out;
}

}  // namespace yoxctl
