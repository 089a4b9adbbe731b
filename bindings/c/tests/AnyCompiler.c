/* SPDX-License-Identifier: Apache-2.0
 * A Windows program that knows only the installed header and the names of the system's functions:
 * no runtime library, no header of another compiler. Decides a list, explains it and reads an
 * error. Prints what it found. scripts/test-windows-package builds it as Microsoft's compilers
 * would. */
#include "yox/c/yox.h"

__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long);
__declspec(dllimport) int __stdcall WriteFile(void*, const void*, unsigned long, unsigned long*,
                                              void*);
__declspec(dllimport) __declspec(noreturn) void __stdcall ExitProcess(unsigned);

static size_t Length(const char* text) {
  size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

static void Print(const char* text) {
  unsigned long written;
  WriteFile(GetStdHandle((unsigned long)-11), text, (unsigned long)Length(text), &written, 0);
}

static void Check(yox_status status) {
  if (status == YOX_OK) return;
  Print(yox_error_message());
  Print("\n");
  ExitProcess(1);
}

void Start(void) {
  static const char list_text[] = "[{\"country\": \"DE,FR\", \"tag\": \"Ring|beta\"}]";
  static const char facts_text[] = "{\"country\": \"DE\", \"tags\": {\"Ring\": \"stable\"}}";
  yox_list* list = 0;
  yox_facts* facts = 0;
  yox_verdict verdict;
  yox_explanation* explanation = 0;
  yox_explained explained;
  Check(yox_list_read(list_text, sizeof list_text - 1, &list));
  Check(yox_facts_read(facts_text, sizeof facts_text - 1, &facts));
  verdict.size = sizeof verdict;
  Check(yox_decide(list, facts, 0, &verdict));
  Print(verdict.applies == YOX_FALSE ? "does not apply\n" : "applies\n");
  Check(yox_explain(list, facts, 0, &explanation));
  explained.size = sizeof explained;
  Check(yox_explanation_get(explanation, &explained));
  Print(explained.reason.data);
  Print("\n");
  yox_explanation_free(explanation);
  yox_facts_free(facts);
  yox_list_free(list);
  if (yox_list_read("{", 1, &list) == YOX_DOCUMENT) Print(yox_error_place());
  Print("\n");
  ExitProcess(0);
}
