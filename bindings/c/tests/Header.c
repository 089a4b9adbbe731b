/* SPDX-License-Identifier: Apache-2.0 */
/* Compiles the header as C99, and uses its macros. */
#include "yox/c/yox.h"

size_t yox_c99_size(void);
size_t yox_c99_size(void) {
  const yox_verdict verdict = YOX_INIT(yox_verdict);
  return verdict.size;
}
