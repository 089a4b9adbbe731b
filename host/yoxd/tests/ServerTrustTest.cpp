#include <gtest/gtest.h>

#include "host/yoxd/ServerTrust.h"
#include "host/yoxd/Text.h"
#include "host/yoxd/tests/TestCertificate.h"

namespace yoxd {
namespace {

const char* const kUnknown = "self-signed certificate in certificate chain";
const char* const kNotListed = "its root is not in the policy's list";

class ServerTrustTest : public testing::Test {
 protected:
  enum class System { kKnowsTheRoot, kDoesNot };

  // Verifies root and leaf as a TLS client does; returns why they are refused, or "accepted".
  std::string Verify(System system, const Trust& trust) { return Verify(system, trust, leaf_); }
  std::string Verify(System system, const Trust& trust, const TestCertificate& leaf) {
    const std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(),
                                                                        &X509_STORE_free);
    if (system == System::kKnowsTheRoot) X509_STORE_add_cert(store.get(), root_.get());
    STACK_OF(X509)* const sent = sk_X509_new_null();
    sk_X509_push(sent, leaf.get());
    sk_X509_push(sent, root_.get());
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> context(
        X509_STORE_CTX_new(), &X509_STORE_CTX_free);
    X509_STORE_CTX_init(context.get(), store.get(), leaf.get(), sent);
    X509_STORE_CTX_set_default(context.get(), "ssl_server");
    ChainCheck check{trust};
    const int accepted = VerifyChain(context.get(), &check);
    // A chain that is refused must not look valid in the context either.
    EXPECT_EQ(X509_STORE_CTX_get_error(context.get()) == X509_V_OK, accepted == 1);
    sk_X509_free(sent);
    const std::string prefix = "the server's certificate is refused: ";
    if (accepted == 1) return check.refusal.empty() ? "accepted" : "accepted, with a refusal";
    return check.refusal.starts_with(prefix) ? check.refusal.substr(prefix.size()) : check.refusal;
  }

  const TestCertificate root_{"Root", {.is_authority = true}};
  const TestCertificate leaf_{"server", {.issuer = &root_}};
  const std::string listed_ = root_.Thumbprint();
};

TEST_F(ServerTrustTest, ARootMustBeKnownToTheSystemAndListed) {
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {listed_}}), "accepted");
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {"00", listed_}}), "accepted");
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {}}), kNotListed);
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {"00"}}), kNotListed);
  EXPECT_EQ(Verify(System::kDoesNot, {.roots = {listed_}}), kUnknown);
}

TEST_F(ServerTrustTest, AListedRootNeedNotBeKnownIfSelfSignedOnesAreAllowed) {
  EXPECT_EQ(Verify(System::kDoesNot, {.roots = {listed_}, .allow_self_signed = true}), "accepted");
  EXPECT_EQ(Verify(System::kDoesNot, {.roots = {"00"}, .allow_self_signed = true}), kUnknown);
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {"00"}, .allow_self_signed = true}),
            kNotListed);
}

TEST_F(ServerTrustTest, OnlyTheRootIsLookedForInTheList) {
  for (const bool allowed : {false, true}) {
    EXPECT_EQ(Verify(System::kKnowsTheRoot,
                     {.roots = {leaf_.Thumbprint()}, .allow_self_signed = allowed}),
              kNotListed);
    EXPECT_EQ(
        Verify(System::kDoesNot, {.roots = {leaf_.Thumbprint()}, .allow_self_signed = allowed}),
        kUnknown);
  }
}

TEST_F(ServerTrustTest, ThumbprintsAreComparedWithoutLetterCase) {
  std::string capitals = listed_;
  for (char& c : capitals) c = static_cast<char>(c >= 'a' ? c - 32 : c);
  EXPECT_EQ(Verify(System::kKnowsTheRoot, {.roots = {capitals}}), "accepted");
}

TEST_F(ServerTrustTest, TheCommonNameMustBeListedIfThereIsAList) {
  const auto with = [this](std::vector<std::string> names) {
    return Trust{.roots = {listed_}, .common_names = std::move(names)};
  };
  EXPECT_EQ(Verify(System::kKnowsTheRoot, with({"other", "Server"})), "accepted");
  EXPECT_EQ(Verify(System::kKnowsTheRoot, with({"other"})),
            "its common name is not in the policy's list");
  // It is the leaf's.
  EXPECT_EQ(Verify(System::kKnowsTheRoot, with({"Root"})),
            "its common name is not in the policy's list");
}

TEST_F(ServerTrustTest, AllElseIsCheckedAsEver) {
  const TestCertificate expired{"server", {.issuer = &root_, .expires_in = -60}};
  const TestCertificate stranger{"server", {}};
  for (const bool allowed : {false, true}) {
    const Trust trust{.roots = {listed_}, .allow_self_signed = allowed};
    EXPECT_EQ(Verify(System::kKnowsTheRoot, trust, expired), "certificate has expired");
    EXPECT_EQ(Verify(System::kKnowsTheRoot, trust, stranger), "self-signed certificate");
  }
}

}  // namespace
}  // namespace yoxd
