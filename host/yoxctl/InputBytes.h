#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <string>

namespace yoxctl {

class Inventory;

// The bytes of an input that an argument names: a file, or standard input for "-", or a database,
// whose bytes are a facts document on each line. What is
// compressed by gzip is decompressed, all its members; whether it is, the first bytes say. For one
// thread at a time.
class InputBytes {
 public:
  // Throws Refusal when there is no such file or it cannot be opened.
  explicit InputBytes(const std::string& argument);
  ~InputBytes();
  InputBytes(const InputBytes&) = delete;
  InputBytes& operator=(const InputBytes&) = delete;

  // Reads `size` bytes, or what is left; returns 0 at the end. Throws Refusal when
  // reading fails, and when the input ends within a gzip member or is damaged.
  std::size_t Read(char* bytes, std::size_t size);

  // What messages call the input.
  const std::string& name() const { return name_; }
  // How many bytes of the file were read, compressed ones as they are; and how many it has, 0 when
  // that is not known.
  std::uint64_t taken() const { return taken_; }
  std::uint64_t size() const { return size_; }

 private:
  struct Inflater;

  std::size_t ReadRows(char* bytes, std::size_t size);
  std::size_t ReadRaw(char* bytes, std::size_t size);
  std::size_t Inflate(char* bytes, std::size_t size);

  std::string name_;
  std::unique_ptr<Inventory> inventory_;  // of a database
  std::string row_;                       // a line of it
  bool is_at_end_ = false;                // of it
  std::unique_ptr<std::istream> file_;    // null: standard input
  std::unique_ptr<Inflater> inflater_;
  std::string first_bytes_;  // read to know what it is, and not yet returned
  bool has_begun_ = false;
  std::uint64_t taken_ = 0;
  std::uint64_t size_ = 0;
};

}  // namespace yoxctl
