#include "yox/platform/system/windows/WindowsJoinState.h"

#include <winsock2.h>
// Behind winsock2.h.
#include <windows.h>
// Behind windows.h.
#include <lmcons.h>
#include <lmjoin.h>

#include "yox/base/String.h"

namespace yox::platform {
namespace {

using Outcome = JoinAnswer::Outcome;

class Library {
 public:
  Library() {
    wchar_t folder[MAX_PATH] = {};
    if (GetSystemDirectoryW(folder, MAX_PATH) != 0) {
      module_ = LoadLibraryW((WString(folder) + L"\\Netapi32.dll").c_str());
    }
  }
  ~Library() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  explicit operator bool() const { return module_ != nullptr; }
  template <class Function>
  Function Find(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

 private:
  HMODULE module_ = nullptr;
};

// The beginning of the structure that NetGetAadJoinInformation returns; its other members are not
// used.
struct CloudJoin {
  int type;
};
constexpr int kDeviceJoin = 1;

}  // namespace

JoinAnswer WindowsJoinState::Domain() {
  using GetJoin = DWORD(WINAPI*)(const wchar_t*, wchar_t**, NETSETUP_JOIN_STATUS*);
  using Free = DWORD(WINAPI*)(void*);
  char host[128] = {};
  if (gethostname(host, sizeof host) != 0) {
    return {Outcome::kNoHostName, static_cast<std::uint32_t>(WSAGetLastError()), false};
  }
  const Library library;
  if (!library) return {Outcome::kNoLibrary, 0, false};
  const auto get_join = library.Find<GetJoin>("NetGetJoinInformation");
  const auto free_buffer = library.Find<Free>("NetApiBufferFree");
  if (get_join == nullptr || free_buffer == nullptr) return {Outcome::kNoFunction, 0, false};
  wchar_t* name = nullptr;
  NETSETUP_JOIN_STATUS status = NetSetupUnknownStatus;
  const DWORD code = get_join(String::UTF8ToUTF16(host).c_str(), &name, &status);
  if (name != nullptr) free_buffer(name);
  return {Outcome::kAsked, code, status == NetSetupDomainName};
}

JoinAnswer WindowsJoinState::Cloud() {
  using GetJoin = HRESULT(WINAPI*)(const wchar_t*, CloudJoin**);
  using Free = void(WINAPI*)(CloudJoin*);
  const Library library;
  if (!library) return {Outcome::kNoLibrary, 0, false};
  const auto get_join = library.Find<GetJoin>("NetGetAadJoinInformation");
  const auto free_join = library.Find<Free>("NetFreeAadJoinInformation");
  if (get_join == nullptr || free_join == nullptr) return {Outcome::kNoFunction, 0, false};
  CloudJoin* join = nullptr;
  const HRESULT result = get_join(L"", &join);
  const bool joined = result == S_OK && join != nullptr && join->type == kDeviceJoin;
  if (join != nullptr) free_join(join);
  return {Outcome::kAsked, static_cast<std::uint32_t>(result), joined};
}

}  // namespace yox::platform
