#include "yox/base/Document.h"

#include <fstream>
#include <string>
#include <system_error>

namespace yox {
namespace {

namespace fs = std::filesystem;

}  // namespace

std::string ReadDocumentFile(const fs::path& file, std::size_t longest) {
  const std::string too_long = "longer than " + std::to_string(longest >> 20) + " MiB";
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) throw DocumentError("no such file");
  if (fs::is_directory(status)) throw DocumentError("is a directory");
  if (error) throw DocumentError("cannot be opened");
  if (!fs::is_regular_file(status)) throw DocumentError("is not a regular file");
  if (const auto size = fs::file_size(file, error); !error && size > longest) {
    throw DocumentError(too_long);
  }

  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw DocumentError("cannot be opened");
  std::string bytes;
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  while (stream && bytes.size() <= longest) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kPiece);
    stream.read(bytes.data() + before, kPiece);
    bytes.resize(before + static_cast<std::size_t>(stream.gcount()));
  }
  if (stream.bad()) throw DocumentError("cannot be read");
  if (bytes.size() > longest) throw DocumentError(too_long);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  return bytes;
}

}  // namespace yox
