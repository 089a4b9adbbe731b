#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace yox {

// One block of a PEM text (RFC 7468), from "-----BEGIN" to the end of its last line.
struct PemBlock {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string label;  // "CERTIFICATE"
  std::string der;

  bool IsCertificate() const { return label == "CERTIFICATE" || label == "X509 CERTIFICATE"; }
};

// All blocks, in order; text between them is nobody's. Nothing when a line that starts as a border
// of a block is none, when borders do not pair, or when what a block holds is not the base64 text
// of one whole DER sequence.
std::optional<std::vector<PemBlock>> ReadPem(std::string_view text);

// Whether the bytes are one DER sequence, whole, with nothing behind it. Its inside is not looked
// at.
bool IsDerSequence(std::string_view der);

}  // namespace yox
