#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// PEM, the textual encoding of certificates and keys (RFC 7468). The functions are safe from any
// thread.
namespace yox {

// A block of a PEM text, from "-----BEGIN" to the line feed after "-----END LABEL-----".
struct PemBlock {
  std::size_t begin = 0;  // byte offsets in the text; `end` is after the block
  std::size_t end = 0;
  std::string label;  // for example "CERTIFICATE"
  std::string der;    // the decoded content

  bool IsCertificate() const { return label == "CERTIFICATE" || label == "X509 CERTIFICATE"; }
};

// Returns all blocks in order; text between them is ignored. Returns std::nullopt if a line begins
// with "-----" and is not a well-formed BEGIN or END line, if BEGIN and END do not match, or if the
// content of a block is not the base64 encoding of exactly one DER sequence.
std::optional<std::vector<PemBlock>> ReadPem(std::string_view text);

// Returns whether the bytes are exactly one DER sequence by its header. Its content is not checked.
bool IsDerSequence(std::string_view der);

}  // namespace yox
