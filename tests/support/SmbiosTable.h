#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace yox_test {

// Builds firmware tables byte by byte.
class SmbiosTable {
 public:
  SmbiosTable() = default;
  // Structures as they were captured.
  explicit SmbiosTable(std::string structures) : structures_(std::move(structures)) {}

  // A structure of `length` bytes whose bytes are zero but for `bytes` (offset, value), followed by
  // its strings.
  SmbiosTable& Add(std::uint8_t type, std::uint8_t length,
                   std::initializer_list<std::pair<std::size_t, std::uint8_t>> bytes,
                   std::initializer_list<std::string> strings) {
    std::string structure(length, '\0');
    structure[0] = static_cast<char>(type);
    structure[1] = static_cast<char>(length);
    structure[2] = static_cast<char>(count_++);
    for (const auto& [offset, value] : bytes) structure.at(offset) = static_cast<char>(value);
    structures_ += structure;
    for (const std::string& text : strings) structures_ += text + '\0';
    structures_.append(strings.size() == 0 ? 2 : 1, '\0');
    return *this;
  }
  SmbiosTable& AddEnd() { return Add(127, 4, {}, {}); }

  const std::string& structures() const { return structures_; }

  // The entry points before the structures at `address`.
  std::string EntryPoint32(std::uint8_t major, std::uint8_t minor,
                           std::uint32_t address = 32) const {
    std::string entry = "_SM_" + std::string(27, '\0');
    entry[5] = 31;
    entry[6] = static_cast<char>(major);
    entry[7] = static_cast<char>(minor);
    entry.replace(16, 5, "_DMI_");
    Put(entry, 22, structures_.size(), 2);
    Put(entry, 24, address, 4);
    Put(entry, 28, count_, 2);
    entry[21] = Checksum(entry.substr(16, 15));
    entry[4] = Checksum(entry);
    return entry;
  }
  std::string EntryPoint64(std::uint8_t major, std::uint8_t minor,
                           std::uint64_t address = 32) const {
    std::string entry = "_SM3_" + std::string(19, '\0');
    entry[6] = 24;
    entry[7] = static_cast<char>(major);
    entry[8] = static_cast<char>(minor);
    entry[10] = 1;
    Put(entry, 12, structures_.size(), 4);
    Put(entry, 16, address, 8);
    entry[5] = Checksum(entry);
    return entry;
  }
  // As it is in a dump.
  std::string Dump(std::string entry_point) const {
    entry_point.resize(32);
    return entry_point + structures_;
  }
  // As Windows hands it out.
  std::string Windows(std::uint8_t major, std::uint8_t minor) const {
    std::string header(8, '\0');
    header[1] = static_cast<char>(major);
    header[2] = static_cast<char>(minor);
    Put(header, 4, structures_.size(), 4);
    return header + structures_;
  }

  // A laptop that fills in everything.
  static SmbiosTable Laptop() {
    SmbiosTable table;
    table.Add(0, 26,
              {{0x04, 1}, {0x05, 2}, {0x08, 3}, {0x14, 1}, {0x15, 35}, {0x16, 1}, {0x17, 20}},
              {"Contoso", "FAL14 v1.35", "11/03/2025"});
    table.Add(1, 27, {{0x04, 1}, {0x05, 2}, {0x06, 3}, {0x07, 4}, {0x19, 5}, {0x1A, 6}},
              {"Contoso", "FA14-2210", "Gen 2", "C0FFEE12", "FALCON14-16-512", "Falcon 14"});
    table.Add(2, 15, {{0x04, 1}, {0x07, 2}}, {"Contoso", "BB-000417"});
    table.Add(3, 22, {{0x04, 1}, {0x05, 10}}, {"Contoso"});
    table.AddEnd();
    return table;
  }

 private:
  static void Put(std::string& bytes, std::size_t offset, std::uint64_t number, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
      bytes.at(offset + i) = static_cast<char>(number >> (8 * i));
    }
  }
  static char Checksum(const std::string& bytes) {
    unsigned sum = 0;
    for (const char byte : bytes) sum += static_cast<unsigned char>(byte);
    return static_cast<char>(0x100 - (sum & 0xFF));
  }

  std::string structures_;
  std::uint8_t count_ = 0;
};

}  // namespace yox_test
