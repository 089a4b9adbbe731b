#include "yox/platform/apps/linux/InstalledPackages.h"

#include <algorithm>
#include <cstdint>
#include <pugixml.hpp>

#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

// Without epoch and revision.
std::string_view UpstreamVersion(std::string_view version) {
  const std::size_t epoch = version.find(':');
  if (epoch != std::string_view::npos) version.remove_prefix(epoch + 1);
  return version.substr(0, version.rfind('-'));
}

// The numbers of an rpm header are big endian.
std::uint32_t NumberAt(std::string_view bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (const char byte : bytes.substr(offset, 4)) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return number;
}

}  // namespace

std::vector<InstalledPackage> ReadDpkgStatus(std::string_view status) {
  // dpkg's man page, "Package states": the three in which the package can be used.
  constexpr std::string_view kUsable[] = {" installed", " triggers-pending", " triggers-awaited"};
  std::vector<InstalledPackage> packages;
  InstalledPackage package;
  bool installed = false;
  const auto finish = [&] {
    if (installed && !package.name.empty()) packages.push_back(std::move(package));
    package = {};
    installed = false;
  };
  while (!status.empty()) {
    std::string_view line = TakeLine(status);
    if (Trimmed(line).empty()) {
      finish();
      continue;
    }
    if (line.front() == ' ' || line.front() == '\t') continue;  // continues the field before
    const std::string_view field = TakeUpTo(line, ':');
    const std::string_view value = Trimmed(line);
    if (field == "Package") package.name = value;
    if (field == "Architecture") package.architecture = value;
    if (field == "Maintainer") package.publisher = value;
    if (field == "Version") package.version = UpstreamVersion(value);
    if (field == "Status") {
      installed = std::ranges::any_of(
          kUsable, [&](std::string_view state) { return value.ends_with(state); });
    }
  }
  finish();
  return packages;
}

std::vector<InstalledPackage> ReadApkInstalled(std::string_view installed) {
  std::vector<InstalledPackage> packages;
  InstalledPackage package;
  const auto finish = [&] {
    if (!package.name.empty()) packages.push_back(std::move(package));
    package = {};
  };
  while (!installed.empty()) {
    std::string_view line = TakeLine(installed);
    if (Trimmed(line).empty()) finish();
    const std::string_view field = TakeUpTo(line, ':');
    if (field == "P") package.name = Trimmed(line);
    if (field == "A") package.architecture = Trimmed(line);
    if (field == "m") package.publisher = Trimmed(line);
    if (field == "V") package.version = UpstreamVersion(Trimmed(line));
  }
  finish();
  return packages;
}

std::optional<InstalledPackage> ReadPacmanDesc(std::string_view desc) {
  // "%NAME%" is followed by its value on the next line.
  InstalledPackage package;
  while (!desc.empty()) {
    const std::string_view field = Trimmed(TakeLine(desc));
    if (!field.starts_with('%')) continue;
    const std::string_view value = Trimmed(TakeLine(desc));
    if (field == "%NAME%") package.name = value;
    if (field == "%ARCH%") package.architecture = value;
    if (field == "%PACKAGER%") package.publisher = value;
    if (field == "%VERSION%") package.version = UpstreamVersion(value);
  }
  if (package.name.empty()) return std::nullopt;
  return package;
}

std::optional<InstalledPackage> ReadRpmHeader(std::string_view header) {
  struct Field {
    std::uint32_t tag;
    std::string InstalledPackage::*text;
  };
  constexpr Field kFields[] = {{1000, &InstalledPackage::name},
                               {1001, &InstalledPackage::version},
                               {1011, &InstalledPackage::publisher},
                               {1022, &InstalledPackage::architecture}};
  constexpr std::size_t kStart = 8, kEntry = 16;
  constexpr std::uint32_t kText = 6;

  if (header.size() < kStart) return std::nullopt;
  const std::size_t entries = NumberAt(header, 0);
  if (entries > (header.size() - kStart) / kEntry) return std::nullopt;
  const std::string_view data = header.substr(kStart + entries * kEntry);
  InstalledPackage package;
  for (std::size_t i = 0; i < entries; ++i) {
    const std::string_view entry = header.substr(kStart + i * kEntry, kEntry);
    const auto* const field = std::ranges::find(kFields, NumberAt(entry, 0), &Field::tag);
    const std::uint32_t offset = NumberAt(entry, 8);
    if (field == std::end(kFields) || NumberAt(entry, 4) != kText || offset >= data.size()) {
      continue;
    }
    const std::string_view text = data.substr(offset);
    package.*field->text = text.substr(0, text.find('\0'));
  }
  // Only keys have no architecture.
  if (package.name.empty() || package.architecture.empty()) return std::nullopt;
  return package;
}

std::vector<InstalledPackage> ReadRpmQuery(std::string_view output) {
  constexpr std::string_view kNone = "(none)";  // rpm's word for a tag that is not set
  std::vector<InstalledPackage> packages;
  while (!output.empty()) {
    std::string_view line = TakeLine(output);
    InstalledPackage package;
    for (std::string* const text :
         {&package.name, &package.architecture, &package.publisher, &package.version}) {
      const std::string_view piece = TakeUpTo(line, '\t');
      if (piece != kNone) *text = piece;
    }
    // Only keys have no architecture.
    if (!package.name.empty() && !package.architecture.empty()) {
      packages.push_back(std::move(package));
    }
  }
  return packages;
}

std::optional<InstalledPackage> ReadSnapYaml(std::string_view yaml) {
  InstalledPackage snap;
  while (!yaml.empty()) {
    const std::string_view line = TakeLine(yaml);
    for (const auto& [key, text] : {std::pair("name:", &InstalledPackage::name),
                                    std::pair("version:", &InstalledPackage::version)}) {
      if (!line.starts_with(key)) continue;
      std::string_view value = Trimmed(line.substr(std::string_view(key).size()));
      const char quote = value.empty() ? '\0' : value.front();
      if (quote == '\'' || quote == '"') {
        value.remove_prefix(1);
        value = value.substr(0, value.find(quote));
      } else {
        value = Trimmed(value.substr(0, value.find(" #")));
      }
      snap.*text = value;
    }
  }
  if (snap.name.empty()) return std::nullopt;
  return snap;
}

std::string ReadMetainfoVersion(std::string_view xml) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_auto)) {
    return {};
  }
  return document.child("component")
      .child("releases")
      .child("release")
      .attribute("version")
      .value();
}

}  // namespace yox::platform
