#include "yox/platform/files/StateFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "yox/platform/files/linux/FileDescriptor.h"
#include "yox/platform/files/linux/PrivateFolder.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// Creates a file that has no name yet, for this account alone. Not every file system can.
FileDescriptor CreateNameless(const PrivateFolder& folder) {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR;
  FileDescriptor file(openat(folder.descriptor(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, kMode));
  if (file && fchmod(file.number(), kMode) != 0) return {};
  return file;
}

// Gives the file a name. Returns false if the name is taken.
bool Link(const PrivateFolder& folder, const FileDescriptor& file, const char* name) {
  // The way that open(2) describes for processes without privileges.
  const std::string source = "/proc/self/fd/" + std::to_string(file.number());
  return linkat(AT_FDCWD, source.c_str(), folder.descriptor(), name, AT_SYMLINK_FOLLOW) == 0;
}

bool WriteOver(const FileDescriptor& file, std::string_view bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count =
        pwrite(file.number(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return ftruncate(file.number(), static_cast<off_t>(bytes.size())) == 0;
}

}  // namespace

bool CreatePrivateFolder(const fs::path& folder, bool with_parents) {
  std::error_code error;
  if (!with_parents && !fs::is_directory(folder.parent_path(), error)) return false;
  try {
    PrivateFolder::Create(folder);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

bool WriteInPlace(const fs::path& file, const std::function<std::string()>& content) {
  const std::string name = file.filename();
  try {
    const PrivateFolder folder(file.parent_path());
    FileDescriptor named = folder.OpenFile(name.c_str(), O_WRONLY);
    FileDescriptor nameless;
    if (!named) {
      nameless = CreateNameless(folder);
      if (!nameless) named = folder.CreateFile(name.c_str());
      if (!nameless && !named) named = folder.OpenFile(name.c_str(), O_WRONLY);
      if (!nameless && !named) return false;
    }
    const std::string bytes = content();
    if (nameless) {
      // Synced first: a loss of power must not leave the name without the content.
      if (!WriteOver(nameless, bytes) || fdatasync(nameless.number()) != 0) return true;
      if (Link(folder, nameless, name.c_str())) return true;
      named = folder.OpenFile(name.c_str(), O_WRONLY);  // another process was first
      if (!named) return true;
    }
    if (!WriteOver(named, bytes)) unlinkat(folder.descriptor(), name.c_str(), 0);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace yox::platform
