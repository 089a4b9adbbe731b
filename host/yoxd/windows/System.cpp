#include "host/yoxd/HostSystem.h"

// clang-format off
#include <winsock2.h>  // before windows.h
#include <windows.h>
// clang-format on
#include <aclapi.h>
#include <shlobj.h>

#include <cstdlib>
#include <utility>

#include "yox/platform/waits/Waits.h"

#include "host/yoxd/SocketWatch.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/windows/Access.h"

namespace yoxd {
namespace {

namespace fs = std::filesystem;

class FolderWatch final : public Part {
 public:
  FolderWatch(const std::string& file, std::function<void()> edited) : edited_(std::move(edited)) {
    const fs::path folder = fs::absolute(PathOf(file)).parent_path();
    handle_ = FindFirstChangeNotificationW(
        folder.c_str(), FALSE, FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_FILE_NAME);
    if (handle_ == INVALID_HANDLE_VALUE) ThrowLastError(PathText(folder));
  }
  ~FolderWatch() override { FindCloseChangeNotification(handle_); }
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  void Watch(std::vector<Watched>& watched) override {
    watched.push_back({handle_, true, false, [this](bool, bool) {
                         FindNextChangeNotification(handle_);
                         edited_();
                       }});
  }

 private:
  HANDLE handle_ = nullptr;
  std::function<void()> edited_;
};

// Whether the account is the local system, the administrators, or the owner.
bool MayRead(PSID account, PSID owner) {
  return EqualSid(account, owner) != FALSE || IsWellKnownSid(account, WinLocalSystemSid) != FALSE ||
         IsWellKnownSid(account, WinBuiltinAdministratorsSid) != FALSE;
}

}  // namespace

void SetVariable(const std::string& name, const std::string& value) {
  SetEnvironmentVariableW(Wide(name).c_str(), Wide(value).c_str());
}

std::string DefaultConfigurationFile() {
  PWSTR folder = nullptr;
  std::string file;
  if (SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, &folder) == S_OK) {
    file = Narrow(folder) + "\\tervan\\YOX\\yoxd.json";
  }
  CoTaskMemFree(folder);
  return file;
}

bool IsPrivate(const fs::path& file) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(file.c_str(), SE_FILE_OBJECT,
                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                            &list, nullptr, &descriptor) != ERROR_SUCCESS) {
    return false;
  }
  // Without a list every account may do everything.
  bool is_private = owner != nullptr && list != nullptr;
  for (DWORD i = 0; is_private && i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (GetAce(list, i, &entry) == FALSE) {
      is_private = false;
    } else if (const auto* const header = static_cast<const ACE_HEADER*>(entry);
               header->AceType == ACCESS_ALLOWED_ACE_TYPE) {
      auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
      constexpr DWORD kReads = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL | WRITE_DAC;
      is_private = (allowed->Mask & kReads) == 0 || MayRead(&allowed->SidStart, owner);
    } else {
      // Entries that deny take nothing away; other kinds are not used for files.
      is_private = header->AceType == ACCESS_DENIED_ACE_TYPE;
    }
  }
  LocalFree(descriptor);
  return is_private;
}

void WaitFor(std::span<const Watched> watched, std::optional<std::chrono::milliseconds> limit) {
  std::vector<yox::platform::WaitHandle> handles;
  for (const Watched& entry : watched) handles.emplace_back(entry.descriptor);
  const auto result = yox::platform::NativeWaitForAny(
      handles, limit ? limit->count() : yox::platform::kNoTimeLimit);
  if (!result.signalled()) return;
  // All that are ready, so that the first ones do not keep the others waiting.
  for (std::size_t i = result.index; i < watched.size(); ++i) {
    if (watched[i].ready && yox::platform::NativeWaitForAny({handles[i]}, 0).signalled()) {
      watched[i].ready(watched[i].read, watched[i].write);
    }
  }
}

Watched SocketWatch::Watch(int socket, bool read, bool write,
                           std::function<void(bool readable, bool writable)> ready) {
  // The system records an event when it comes up, and whatever is true at this call.
  event_.Clear();
  const long events = (read ? FD_READ | FD_ACCEPT : 0) | (write ? FD_WRITE | FD_CONNECT : 0);
  WSAEventSelect(static_cast<SOCKET>(socket), event_.handle().native(), events | FD_CLOSE);
  return {event_.handle().native(), read, write,
          [socket, read, write, ready = std::move(ready)](bool, bool) {
            const SocketState state = Wait(socket, read, write, std::chrono::milliseconds(0));
            if (state.readable || state.writable) ready(state.readable, state.writable);
          }};
}

SocketState SocketWatch::Wait(int socket, bool read, bool write, std::chrono::milliseconds limit) {
  const int events = (read ? POLLRDNORM : 0) | (write ? POLLWRNORM : 0);
  WSAPOLLFD entry{static_cast<SOCKET>(socket), static_cast<SHORT>(events), 0};
  if (WSAPoll(&entry, 1, static_cast<int>(limit.count())) <= 0) return {};
  return {(entry.revents & (POLLRDNORM | POLLHUP | POLLERR)) != 0,
          (entry.revents & POLLWRNORM) != 0};
}

std::unique_ptr<Part> WatchFile(const std::string& file, std::function<void()> edited) {
  return std::make_unique<FolderWatch>(file, std::move(edited));
}

}  // namespace yoxd
