// SPDX-License-Identifier: Apache-2.0
// The header compiles in a C++11 program that has names of its own, and its functions are C
// functions.
struct list;
struct yox_nothing;
#include "yox/c/yox.h"

int main() {
  yox_verdict verdict = YOX_INIT(yox_verdict);
  yox_question question = YOX_INIT(yox_question);
  const bool good = verdict.size == sizeof verdict && question.size == sizeof question &&
                    question.tags == nullptr && yox_version()[0] != '\0' &&
                    yox_decide(nullptr, nullptr, &question, &verdict) == YOX_ARGUMENT;
  return good ? 0 : 1;
}
