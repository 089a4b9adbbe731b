#pragma once

#include <filesystem>
#include <string>

// What the service asks of the operating system besides what the library offers.
namespace yoxd {

// Sets a variable of this process's environment; UTF-8. Before other threads run.
void SetVariable(const std::string& name, const std::string& value);

// The path of a UTF-8 text.
inline std::filesystem::path PathOf(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

}  // namespace yoxd
