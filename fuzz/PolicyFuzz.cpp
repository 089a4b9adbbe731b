#include "yox/policy/PlatformPolicy.h"

#include "fuzz/FuzzInput.h"

namespace {

void CheckRecord(const PlatformPolicy& policy) {
  FUZZ_CHECK(policy.get_platform_policy_url() == PlatformPolicy().get_platform_policy_url());
  // What was read merges, and merges only once.
  PlatformPolicy merged;
  merged.accumulatePlatformPolicy(policy, true);
  FUZZ_CHECK(merged.api_baseuri() == policy.api_baseuri());
  FUZZ_CHECK(merged.allow_self_signed_cert() == policy.allow_self_signed_cert());
  FUZZ_CHECK(merged.jws_pubkey().size() <= policy.jws_pubkey().size());
  const auto once = merged.tls_rootca_thumbprint_list();
  merged.accumulatePlatformPolicy(policy, false);
  FUZZ_CHECK(merged.tls_rootca_thumbprint_list() == once);
}

}  // namespace

// A policy document or a response, in UTF-8.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const yox::WString json = YOX::String::UTF8ToUTF16({reinterpret_cast<const char*>(data), size});
  CheckRecord(PlatformPolicy::DeSerialize(json, true));
  CheckRecord(PlatformPolicy::DeSerialize(json, false));
  const PlatformPolicy response = PlatformPolicy::DeSerializePlatformPolicyResponse(json);
  CheckRecord(response);
  FUZZ_CHECK(response.jws_pubkey().empty() && response.api_baseuri().empty() &&
             !response.allow_self_signed_cert());
  return 0;
}
