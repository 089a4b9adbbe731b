#include <gtest/gtest.h>

#include "host/yoxd/Inbox.h"
#include "host/yoxd/tests/Message.h"
#include "tests/support/TemporaryFolder.h"

namespace yoxd {
namespace {

using yoxd_test::Message;

constexpr const char* kFile = "inbox.jsonl";

class InboxTest : public testing::Test {
 protected:
  yox_test::TemporaryFolder root_;
  StateFolder folder_{root_.path()};
};

TEST_F(InboxTest, ANewProcessContinuesWithWhatWasNotHandled) {
  {
    Inbox inbox(folder_);
    for (const char* const payload : {"a", "b", "c"}) inbox.Add(Message(0, payload));
    const std::size_t before = inbox.bytes();
    inbox.Handled({inbox.Next().number});
    EXPECT_EQ(inbox.bytes(), before / 3 * 2);
    EXPECT_EQ(inbox.Next().message.payload, "b");  // not handled yet
  }
  Inbox inbox(folder_);
  EXPECT_EQ(inbox.Next().message.payload, "b");
  EXPECT_EQ(inbox.Next().message.payload, "c");
  EXPECT_FALSE(inbox.waiting());
  // What comes now has a number of its own.
  inbox.Add(Message(0, "d"));
  const auto [number, message] = inbox.Next();
  EXPECT_EQ(number, 4);
  EXPECT_EQ(message.payload, "d");
}

TEST_F(InboxTest, AnInterruptedLineDoesNotSpoilTheNext) {
  { Inbox(folder_).Add(Message(0, "whole")); }
  ASSERT_TRUE(folder_.Append(kFile, R"({"number": 2, "packet": 0, "topic": "t", "pay)"));
  { Inbox(folder_).Add(Message(0, "next")); }
  Inbox inbox(folder_);
  EXPECT_EQ(inbox.Next().message.payload, "whole");
  EXPECT_EQ(inbox.Next().message.payload, "next");
  EXPECT_FALSE(inbox.waiting());
}

TEST_F(InboxTest, AShortenedFileKeepsWhatIsRememberedOfHandledMessages) {
  int identifier = 0;
  {
    Inbox inbox(folder_);
    std::uintmax_t before = 0;
    for (std::uintmax_t size = 0; size >= before;
         size = std::filesystem::file_size(folder_.path() / kFile)) {
      before = size;
      inbox.Add(Message(++identifier, "payload"));
      inbox.Handled({inbox.Next().number});
      ASSERT_LT(identifier, 10'000) << "the file is never shortened";
    }
  }
  const Inbox inbox(folder_);
  EXPECT_FALSE(inbox.waiting());
  EXPECT_EQ(inbox.bytes(), 0);
  ASSERT_EQ(inbox.recent().size(), Redeliveries::kMost);
  EXPECT_EQ(inbox.recent().back().identifier, identifier);
  EXPECT_EQ(inbox.recent().back().fingerprint,
            Redeliveries::FingerprintOf(Message(identifier, "payload")));
}

}  // namespace
}  // namespace yoxd
