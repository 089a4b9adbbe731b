#include "yox/platform/system/windows/Com.h"
#include "yox/platform/system/windows/WindowsOperatingSystem.h"
// Behind windows.h.
#include <wuapi.h>

namespace yox::platform {
namespace {

// The second version of an entry, which the cross compiler's headers lack.
struct IUpdateHistoryEntry2 : IUpdateHistoryEntry {
  virtual HRESULT STDMETHODCALLTYPE get_Categories(ICategoryCollection** categories) = 0;
};
constexpr IID kUpdateHistoryEntry2 = {
    0xc2bfb780, 0x4539, 0x4132, {0xab, 0x8c, 0x0a, 0x87, 0x72, 0x01, 0x3a, 0xb6}};
constexpr CLSID kUpdateSession = {
    0x4cb43d7f, 0x7eee, 0x4906, {0x86, 0x98, 0x60, 0xda, 0x1c, 0x38, 0xf2, 0xfe}};
constexpr IID kIUpdateSession = {
    0x816858a4, 0x260d, 0x4260, {0x93, 0x3a, 0x25, 0x85, 0xf1, 0xab, 0xc7, 0x6b}};

template <class Object, class Read>
std::optional<WString> Text(Object* object, Read read) {
  ComText text;
  if (FAILED((object->*read)(text.out()))) return std::nullopt;
  return text.Text();
}

std::optional<std::vector<WString>> Categories(IUpdateHistoryEntry* entry) {
  ComPointer<IUpdateHistoryEntry2> second;
  ComPointer<ICategoryCollection> categories;
  if (FAILED(entry->QueryInterface(kUpdateHistoryEntry2, second.out_void())) ||
      FAILED(second->get_Categories(categories.out())) || !categories) {
    return std::nullopt;
  }
  std::vector<WString> names;
  LONG count = 0;
  if (FAILED(categories->get_Count(&count)) || count < 1) return names;
  for (LONG i = 0; i < count; ++i) {
    ComPointer<ICategory> category;
    if (FAILED(categories->get_Item(i, category.out())) || !category) continue;
    if (auto name = Text(category.get(), &ICategory::get_Name)) names.push_back(std::move(*name));
  }
  if (names.empty()) return std::nullopt;
  return names;
}

}  // namespace

std::vector<OperatingSystemUpdate> WindowsOperatingSystem::UpdateHistory() {
  std::vector<OperatingSystemUpdate> updates;
  if (!ComInit::OfThread().isOK()) return updates;
  ComPointer<IUpdateSession> session;
  ComPointer<IUpdateSearcher> searcher;
  if (FAILED(CoCreateInstance(kUpdateSession, nullptr, CLSCTX_INPROC_SERVER, kIUpdateSession,
                              session.out_void())) ||
      FAILED(session->CreateUpdateSearcher(searcher.out())) || !searcher) {
    return updates;
  }
  constexpr LONG kUsualCount = 20;
  LONG total = 0;
  if (FAILED(searcher->GetTotalHistoryCount(&total))) total = kUsualCount;
  ComPointer<IUpdateHistoryEntryCollection> entries;
  LONG count = 0;
  if (FAILED(searcher->QueryHistory(0, total, entries.out())) || !entries ||
      FAILED(entries->get_Count(&count))) {
    return updates;
  }
  for (LONG i = 0; i < count; ++i) {
    ComPointer<IUpdateHistoryEntry> entry;
    OperationResultCode result = orcNotStarted;
    if (FAILED(entries->get_Item(i, entry.out())) || !entry ||
        FAILED(entry->get_ResultCode(&result))) {
      continue;
    }
    OperatingSystemUpdate update;
    update.result_code = result;
    update.title = Text(entry.get(), &IUpdateHistoryEntry::get_Title);
    update.description =
        Text(entry.get(), &IUpdateHistoryEntry::get_Description).value_or(WString());
    update.categories = Categories(entry.get());
    updates.push_back(std::move(update));
  }
  return updates;
}

}  // namespace yox::platform
