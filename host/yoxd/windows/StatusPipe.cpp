#include <windows.h>

#include <array>
#include <list>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "yox/clientbase/CGuid.h"
#include "yox/platform/waits/Event.h"

#include "host/yoxd/HostSystem.h"
#include "host/yoxd/Journal.h"
#include "host/yoxd/StatusRequest.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/windows/Access.h"

namespace yoxd {
namespace {

constexpr const char* kPipes = "\\\\.\\pipe\\";
constexpr DWORD kPeers = 8;
constexpr auto kPatience = std::chrono::seconds(5);
// To read and write, and not to create a further instance of the pipe.
constexpr const wchar_t* kPeerRights = L"0x12019b";

// One end of the pipe: waits for a peer, reads its request, writes the response, and waits until
// the peer, which has read it, closes its end.
class Instance {
 public:
  Instance(HANDLE pipe, const StatusAnswer& answer) : pipe_(pipe), answer_(answer) { Connect(); }
  ~Instance() {
    Cancel();
    CloseHandle(pipe_);
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  Watched Watch() {
    return {done_.handle().native(), true, false, [this](bool, bool) { Continue(); }};
  }
  std::optional<Moment> end() const { return end_; }
  void Run(Moment now) {
    if (end_ && now >= *end_) Leave();
  }

 private:
  enum class Step { kConnect, kRead, kWrite };

  void Prepare(Step step) {
    step_ = step;
    done_.Clear();
    operation_ = {};
    operation_.hEvent = done_.handle().native();
  }

  void Connect() {
    end_.reset();
    request_.clear();
    response_.clear();
    Prepare(Step::kConnect);
    if (ConnectNamedPipe(pipe_, &operation_) != FALSE) return;
    // A peer that came between: as if the operation had ended.
    if (GetLastError() == ERROR_PIPE_CONNECTED) done_.Set();
  }

  void Read() {
    Prepare(Step::kRead);
    const BOOL read =
        ReadFile(pipe_, bytes_.data(), static_cast<DWORD>(bytes_.size()), nullptr, &operation_);
    if (read == FALSE && GetLastError() != ERROR_IO_PENDING) Leave();
  }

  void Write() {
    Prepare(Step::kWrite);
    const BOOL written = WriteFile(pipe_, response_.data(), static_cast<DWORD>(response_.size()),
                                   nullptr, &operation_);
    if (written == FALSE && GetLastError() != ERROR_IO_PENDING) Leave();
  }

  // The operation has ended.
  void Continue() {
    DWORD size = 0;
    if (step_ == Step::kConnect) {
      end_ = SteadyClock::now() + kPatience;
      Read();
    } else if (GetOverlappedResult(pipe_, &operation_, &size, FALSE) == FALSE) {
      if (GetLastError() != ERROR_IO_INCOMPLETE) Leave();
    } else if (step_ == Step::kWrite || !response_.empty()) {
      Read();  // until the peer closes: what it has not read is lost when this end does
    } else {
      request_.append(bytes_.data(), size);
      auto response = StatusResponse(request_, answer_);
      if (response) response_ = *std::move(response);
      if (response_.empty()) {
        Read();
      } else {
        Write();
      }
    }
  }

  void Cancel() {
    DWORD size = 0;
    if (CancelIoEx(pipe_, &operation_) != FALSE) {
      GetOverlappedResult(pipe_, &operation_, &size, TRUE);
    }
  }

  // Ends with this peer, and waits for the next one.
  void Leave() {
    Cancel();
    DisconnectNamedPipe(pipe_);
    Connect();
  }

  HANDLE const pipe_;
  const StatusAnswer& answer_;
  yox::platform::Event done_;
  OVERLAPPED operation_{};
  Step step_ = Step::kConnect;
  std::optional<Moment> end_;  // a peer that does not read or write is left
  std::array<char, 1'024> bytes_{};
  std::string request_;
  std::string response_;
};

class StatusPipe final : public Part {
 public:
  // `file`, if it is not empty, gets the pipe's name for as long as the pipe exists.
  StatusPipe(const std::string& name, const std::string& group, StatusAnswer answer,
             std::filesystem::path file)
      : answer_(std::move(answer)), file_(std::move(file)) {
    std::wstring more;
    if (!group.empty()) {
      const std::wstring sid = SidOfName(group);
      if (sid.empty()) throw std::runtime_error(name + ": there is no group " + group);
      more = L"(A;;" + std::wstring(kPeerRights) + L";;;" + sid + L")";
    }
    PrivateAccess access(more);
    for (DWORD i = 0; i < kPeers; ++i) {
      // The first one must not exist: another account could have created it to be asked instead.
      const DWORD mode =
          PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | (i == 0 ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0);
      HANDLE const pipe =
          CreateNamedPipeW(Wide(name).c_str(), mode,
                           PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, kPeers,
                           65'536, 4'096, 0, access.attributes());
      if (pipe == INVALID_HANDLE_VALUE) {
        throw std::runtime_error(name + ": " +
                                 std::system_category().message(static_cast<int>(GetLastError())));
      }
      instances_.emplace_back(pipe, answer_);
    }
    if (!file_.empty()) Announce(name);
  }
  ~StatusPipe() override {
    std::error_code error;
    if (!file_.empty()) std::filesystem::remove(file_, error);
  }

  void Watch(std::vector<Watched>& watched) override {
    for (Instance& instance : instances_) watched.push_back(instance.Watch());
  }
  std::optional<Moment> Due() const override {
    std::optional<Moment> due;
    for (const Instance& instance : instances_) {
      if (const auto end = instance.end()) due = std::min(due.value_or(*end), *end);
    }
    return due;
  }
  void Run(Moment now) override {
    for (Instance& instance : instances_) instance.Run(now);
  }

 private:
  void Announce(const std::string& name) {
    PrivateAccess access;
    HANDLE const file =
        CreateFileW(file_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, access.attributes(),
                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    const bool done =
        file != INVALID_HANDLE_VALUE &&
        WriteFile(file, name.data(), static_cast<DWORD>(name.size()), &written, nullptr) != FALSE;
    const DWORD error = GetLastError();
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    if (!done) {
      throw std::runtime_error(PathText(file_) + ": " +
                               std::system_category().message(static_cast<int>(error)));
    }
  }

  const StatusAnswer answer_;
  const std::filesystem::path file_;
  std::list<Instance> instances_;
};

}  // namespace

std::unique_ptr<Part> ServeStatus(const std::string& name, const std::string& group,
                                  StatusAnswer answer) {
  if (name.starts_with(kPipes)) {
    return std::make_unique<StatusPipe>(name, group, std::move(answer), std::filesystem::path());
  }
  // A file that names the pipe: an account that cannot read the folder does not find it.
  const std::string pipe =
      kPipes + std::string("yoxd-") + Narrow(YOX::Utility::CGuid::NewGuid(true));
  return std::make_unique<StatusPipe>(pipe, group, std::move(answer), PathOf(name));
}

std::string DefaultStatusName(const std::filesystem::path& folder, bool chosen) {
  return chosen ? PathText(folder / "yoxd.sock") : std::string(kPipes) + "yoxd";
}

}  // namespace yoxd
