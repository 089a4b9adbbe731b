/* SPDX-License-Identifier: Apache-2.0 */
/* The contract of yox.h, from C. ContractTest CASE runs one case; each has a process of its own,
 * because a process has one runtime. */
#ifdef __linux__
#define _XOPEN_SOURCE 700 /* other accounts, private folders */
#endif
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#ifdef __linux__
#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "yox/c/yox.h"

static int failures = 0;

static void fail(int line, const char* what) {
  printf("line %d: %s (last error: %s)\n", line, what, yox_error_message());
  ++failures;
}

#define CHECK(condition)                          \
  do {                                            \
    if (!(condition)) fail(__LINE__, #condition); \
  } while (0)
#define CHECK_STATUS(expected, call)                                                          \
  do {                                                                                        \
    const yox_status found_ = (call);                                                         \
    if (found_ != (expected)) fail(__LINE__, #call), printf("%s\n", yox_status_name(found_)); \
  } while (0)
#define CHECK_OK(call) CHECK_STATUS(YOX_OK, call)

static int is(yox_text text, const char* expected) {
  return text.size == strlen(expected) && strcmp(text.data, expected) == 0;
}

static yox_list* list_of(const char* document) {
  yox_list* list = NULL;
  CHECK_OK(yox_list_read(document, strlen(document), &list));
  return list;
}

static yox_facts* facts_of(const char* document) {
  yox_facts* facts = NULL;
  CHECK_OK(yox_facts_read(document, strlen(document), &facts));
  return facts;
}

static const char kList[] =
    "{\"filters\": [{\"country\": \"US\", \"value\": \"false\"}, {\"country\": \"DE\", "
    "\"tag\": \"Ring|beta\"}, {\"default\": \"false\"}]}";
static const char kProfile[] =
    "{\"clock\": {\"now\": \"2026-03-01T12:00:00\"}, \"client\": {\"version\": \"4.2.10.0\"},"
    " \"firmware\": {\"manufacturer\": \"Contoso\", \"serial_number\": \"C0FFEE12\"},"
    " \"region\": {\"country_code\": \"DE\", \"language_code\": \"de-DE\"}}";

static yox_runtime* started(int watch) {
  yox_runtime_options options = YOX_INIT(yox_runtime_options);
  yox_runtime* runtime = NULL;
  options.profile = kProfile;
  options.profile_size = strlen(kProfile);
  options.watch = watch;
  CHECK_OK(yox_runtime_start(&options, &runtime));
  if (runtime == NULL) exit(1);
  return runtime;
}

/* The sanitizer of threads has one of its own as soon as another is created. */
#define THREADS_OF_SANITIZER 0
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#undef THREADS_OF_SANITIZER
#define THREADS_OF_SANITIZER 1
#endif
#endif

/* The number of this process's threads, where a system says it. */
static int threads(void) {
  int count = 0;
#ifdef __linux__
  DIR* const folder = opendir("/proc/self/task");
  const struct dirent* entry;
  while ((entry = readdir(folder)) != NULL) count += entry->d_name[0] != '.';
  closedir(folder);
  if (count == 1) count += THREADS_OF_SANITIZER;
#endif
  return count;
}

/* Whether the threads that have been joined are gone: the system takes a moment to forget them. */
static int threads_are_again(int count) {
  const time_t limit = time(NULL) + 30;
  while (threads() != count && time(NULL) < limit) continue;
  return threads() == count;
}

static void an_error_names_its_place(void) {
  static const struct {
    const char* document;
    const char* place;
    const char* message;
  } rows[] = {
      {"{\"filters\": [{}, {\"country\": 5}]}", "line 1, column 30: filters[1].country",
       "expected a string"},
      {"[{\"contry\": \"DE\"}]", "line 1, column 3: [0].contry", "unknown key"},
      {"[\n {,", "line 2, column 3", "expected"},
  };
  size_t i;
  for (i = 0; i < sizeof rows / sizeof *rows; ++i) {
    yox_list* list = (yox_list*)&failures;
    CHECK_STATUS(YOX_DOCUMENT, yox_list_read(rows[i].document, strlen(rows[i].document), &list));
    CHECK(list == (yox_list*)&failures); /* the output is not touched */
    if (strcmp(yox_error_place(), rows[i].place) != 0) fail(__LINE__, yox_error_place());
    CHECK(strncmp(yox_error_message(), rows[i].place, strlen(rows[i].place)) == 0);
    CHECK(strstr(yox_error_message(), rows[i].message) != NULL);
  }
  {
    yox_facts* facts = NULL;
    static const char text[] = "{\"tags\": {\"Ring\": 5}}";
    CHECK_STATUS(YOX_DOCUMENT, yox_facts_read(text, strlen(text), &facts));
    if (strstr(yox_error_place(), "tags.Ring") == NULL) fail(__LINE__, yox_error_place());
  }
  CHECK_STATUS(YOX_ARGUMENT, yox_list_read(kList, strlen(kList), NULL));
  CHECK(strcmp(yox_error_place(), "") == 0);
  CHECK(strcmp(yox_status_name(YOX_DOCUMENT), "YOX_DOCUMENT") == 0);
  CHECK(strcmp(yox_status_name(YOX_INTERNAL), "YOX_INTERNAL") == 0);
  CHECK(strcmp(yox_status_name(YOX_INTERNAL + 1), "unknown") == 0);
  CHECK(strcmp(yox_status_name(99), "unknown") == 0);
  CHECK(strcmp(yox_status_name(-1), "unknown") == 0);
}

/* The number of characters of well-formed UTF-8; 0 for a text that is cut within one. */
static size_t characters_of(const char* text) {
  size_t count = 0;
  for (; *text != '\0'; ++count) {
    const unsigned char first = (unsigned char)*text++;
    int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    for (; more > 0; --more)
      if (((unsigned char)*text++ & 0xC0) != 0x80) return 0;
  }
  return count;
}

static void a_long_error_is_cut_between_characters(void) {
  static char key[1 << 12];
  yox_runtime* runtime = started(0);
  yox_string* text = NULL;
  size_t shift, i, length;
  for (shift = 0; shift < 2; ++shift) { /* one of the two would be cut within a character */
    length = (size_t)sprintf(key, "HKXX\\%s", shift == 0 ? "" : "x");
    for (i = 0; i < 1500; ++i) length += (size_t)sprintf(key + length, "\xc3\xbc");
    CHECK_STATUS(YOX_ARGUMENT, yox_registry_get_text(runtime, key, "", &text));
    CHECK(strlen(yox_error_message()) >= 1022 && strlen(yox_error_message()) <= 1023);
    CHECK(characters_of(yox_error_message()) > 500);
  }
  yox_runtime_stop(runtime);
}

static void a_place_may_contain_colons(void) {
  static const char document[] = "{\"tags\": {\"a b: c\": 5}}";
  yox_facts* facts = NULL;
  const char* place;
  CHECK_STATUS(YOX_DOCUMENT, yox_facts_read(document, strlen(document), &facts));
  place = yox_error_place();
  if (strstr(place, "\"a b: c\"") == NULL) fail(__LINE__, place);
  CHECK(strncmp(yox_error_message() + strlen(place), ": expected", 10) == 0);
}

static void missing_memory_is_an_error(void) {
/* Sanitizers end a process that asks for so much. */
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
  yox_lines* lines = NULL;
  const size_t more_than_there_is = (size_t)1 << 61;
  CHECK_STATUS(YOX_NO_MEMORY, yox_lines_read("{}", more_than_there_is, 1, NULL, NULL, &lines));
  CHECK(strcmp(yox_error_message(), "out of memory") == 0 && lines == NULL);
#endif
}

static void bad_arguments_are_refused(void) {
  yox_list* list = list_of(kList);
  yox_facts* facts = facts_of("{\"country\": \"DE\"}");
  yox_trace* trace = NULL;
  yox_explanation* explanation = NULL;
  yox_verdict verdict = YOX_INIT(yox_verdict);
  yox_question question = YOX_INIT(yox_question);
  yox_explained_filter filter = YOX_INIT(yox_explained_filter);
  yox_explained_fact fact = YOX_INIT(yox_explained_fact);
  yox_finding finding = YOX_INIT(yox_finding);
  yox_findings* findings = NULL;
  yox_rollout* rollout = NULL;
  yox_runtime* runtime = NULL;
  yox_date date;
  yox_text text;
  yox_pair pair;
  uint8_t applies;
  const yox_facts* none = NULL;
  const yox_list* nothing = NULL;
  yox_facts* made = NULL;

  CHECK_STATUS(YOX_ARGUMENT, yox_list_read(NULL, 5, &list));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(NULL, facts, NULL, &verdict));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, NULL, NULL, &verdict));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, NULL, NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide_many(list, &none, 1, NULL, &applies));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide_many(list, NULL, 1, NULL, &applies));
  CHECK_STATUS(YOX_ARGUMENT, yox_decide_many(list, (const yox_facts* const*)&facts, 1, NULL, NULL));
  CHECK_OK(yox_decide_many(list, NULL, 0, NULL, NULL));
  CHECK_STATUS(YOX_DOCUMENT, yox_list_read(NULL, 0, &list)); /* an empty document */
  CHECK_STATUS(YOX_ARGUMENT, yox_list_write(list, NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_facts_write(facts, 0, NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_facts_from_profile(kProfile, strlen(kProfile), NULL, 1, &made));
  CHECK_STATUS(YOX_ARGUMENT,
               yox_facts_from_profile(kProfile, strlen(kProfile), &nothing, 1, &made));

  question.target_version = "\xff";
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, &question, &verdict));
  CHECK(strcmp(yox_error_message(), "question.target_version: is not well-formed UTF-8") == 0);
  question.target_version = NULL;
  question.tag_count = 1;
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, &question, &verdict));
  pair.key = "Ring";
  pair.value = NULL;
  question.tags = &pair;
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, &question, &verdict));

  CHECK_OK(yox_trace_decision(list, facts, NULL, &trace));
  CHECK_STATUS(YOX_ARGUMENT, yox_trace_failed(trace, 3, &text));
  CHECK_STATUS(YOX_ARGUMENT, yox_trace_failed(trace, YOX_NONE, &text));
  CHECK_OK(yox_explain(list, facts, NULL, &explanation));
  CHECK_STATUS(YOX_ARGUMENT, yox_explanation_filter(explanation, 3, &filter));
  CHECK_STATUS(YOX_ARGUMENT, yox_explanation_fact(explanation, 0, 0, 1, &fact));
  CHECK_STATUS(YOX_ARGUMENT, yox_explanation_fact(explanation, 0, 1, 0, &fact));
  CHECK_STATUS(YOX_ARGUMENT, yox_explanation_need(explanation, 9, &text));
  CHECK_OK(yox_lint(kList, strlen(kList), NULL, &findings));
  CHECK_STATUS(YOX_ARGUMENT, yox_findings_get(findings, yox_findings_count(findings), &finding));
  CHECK_OK(yox_rollout_read("2026-03-01|10|linear", &rollout));
  CHECK_STATUS(YOX_ARGUMENT, yox_rollout_date(rollout, 0, &date));
  CHECK_STATUS(YOX_DOCUMENT, yox_rollout_read("2026-03-01", &rollout));
  CHECK_STATUS(YOX_ARGUMENT, yox_device_refresh(NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_tags_refresh(NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_registry_set_text(NULL, "HKLM\\A", "", ""));
  CHECK_STATUS(YOX_ARGUMENT, yox_runtime_start(NULL, NULL));

  /* What is freed may be NULL, and what is counted too. */
  yox_list_free(NULL), yox_facts_free(NULL), yox_trace_free(NULL), yox_explanation_free(NULL);
  yox_findings_free(NULL), yox_rollout_free(NULL), yox_string_free(NULL), yox_pairs_free(NULL);
  yox_runtime_stop(runtime), yox_bus_unsubscribe(NULL), yox_registry_watch_free(NULL);
  CHECK(yox_list_count(NULL) == 0 && yox_findings_count(NULL) == 0 && yox_pairs_count(NULL) == 0);
  CHECK(yox_string_size(NULL) == 0 && strcmp(yox_string_data(NULL), "") == 0);

  yox_rollout_free(rollout);
  yox_findings_free(findings);
  yox_explanation_free(explanation);
  yox_trace_free(trace);
  yox_facts_free(facts);
  yox_list_free(list);
}

static void sizes_bound_what_is_read_and_written(void) {
  yox_list* list = list_of("[{\"target_version\": \"2.0\"}]");
  yox_facts* facts = facts_of("{\"id\": \"one\"}");
  struct {
    yox_verdict known;
    char later[16]; /* members of a later version */
  } newer;
  struct {
    yox_question known;
    char later[16];
  } asked;
  size_t i;

  memset(&newer, 0x55, sizeof newer);
  newer.known.size = sizeof newer;
  memset(&asked, 0, sizeof asked);
  asked.known.size = sizeof asked;
  asked.known.now = YOX_NOW;
  asked.known.target_version = "2.0";
  memset(asked.later, 0x55, sizeof asked.later);
  CHECK_OK(yox_decide(list, facts, &asked.known, &newer.known));
  CHECK(newer.known.size == sizeof newer && newer.known.applies == YOX_TRUE);
  CHECK(newer.known.decided_by == 0);
  for (i = 0; i < sizeof newer.later; ++i) CHECK(newer.later[i] == 0x55);

  newer.known.size = sizeof newer.known - 1;
  newer.known.applies = 77;
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, NULL, &newer.known));
  CHECK(newer.known.applies == 77);
  newer.known.size = 0;
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, NULL, &newer.known));
  asked.known.size = 4;
  newer.known.size = sizeof newer.known;
  CHECK_STATUS(YOX_ARGUMENT, yox_decide(list, facts, &asked.known, &newer.known));
  CHECK(strstr(yox_error_message(), "question: expected a `size` of at least") != NULL);
  yox_facts_free(facts);
  yox_list_free(list);
}

static void a_list_decides_on_facts(void) {
  static const struct {
    const char* facts;
    int32_t applies;
    size_t decided_by;
    const char* reason;
  } rows[] = {
      {"{\"country\": \"US\"}", YOX_FALSE, 0, "Filter [0]: value = false; "},
      {"{\"country\": \"DE\", \"tags\": {\"Ring\": \"beta\"}}", YOX_TRUE, 1,
       "Filter [0]: country = false; Filter [1]: true; "},
      {"{\"country\": \"DE\", \"tags\": {}}", YOX_FALSE, 2, NULL},
      {"{\"country\": \"DE\"}", YOX_UNKNOWN, YOX_NONE, NULL},
  };
  yox_list* list = list_of(kList);
  const yox_facts* devices[4];
  uint8_t many[4];
  size_t i;
  CHECK(yox_list_count(list) == 3);
  for (i = 0; i < 4; ++i) {
    yox_facts* facts = facts_of(rows[i].facts);
    yox_verdict verdict = YOX_INIT(yox_verdict);
    yox_verdict traced = YOX_INIT(yox_verdict);
    yox_explained explained = YOX_INIT(yox_explained);
    yox_trace* trace = NULL;
    yox_explanation* explanation = NULL;
    yox_text reason;
    CHECK_OK(yox_decide(list, facts, NULL, &verdict));
    CHECK(verdict.applies == rows[i].applies && verdict.decided_by == rows[i].decided_by);
    CHECK_OK(yox_trace_decision(list, facts, NULL, &trace));
    CHECK_OK(yox_trace_verdict(trace, &traced));
    CHECK(traced.applies == rows[i].applies && traced.decided_by == rows[i].decided_by);
    CHECK_OK(yox_trace_reason(trace, &reason));
    if (rows[i].reason != NULL && !is(reason, rows[i].reason)) fail(__LINE__, reason.data);
    CHECK_OK(yox_explain(list, facts, NULL, &explanation));
    CHECK_OK(yox_explanation_get(explanation, &explained));
    CHECK(explained.applies == rows[i].applies && explained.decided_by == rows[i].decided_by);
    CHECK(explained.filter_count == 3);
    CHECK((explained.need_count > 0) == (rows[i].applies == YOX_UNKNOWN));
    devices[i] = facts;
    yox_explanation_free(explanation);
    yox_trace_free(trace);
  }
  CHECK_OK(yox_decide_many(list, devices, 4, NULL, many));
  for (i = 0; i < 4; ++i) CHECK(many[i] == rows[i].applies);
  for (i = 0; i < 4; ++i) yox_facts_free((yox_facts*)devices[i]);
  yox_list_free(list);
}

static void lines_decide_as_their_devices(void) {
  static const char text[] =
      "{\"country\": \"US\"}\n\n \r\n{\"country\": \"DE\", \"tags\": {\"Ring\": \"beta\"}}\r\n"
      "{\"country\": \"DE\"}";
  static const char wrong[] = "{\"country\": \"US\"}\n{\"contry\": \"US\"}\n";
  yox_list* list = list_of(kList);
  uint8_t applies[4] = {9, 9, 9, 9};
  size_t count = 0, cut;
  char* exact;
  CHECK_OK(yox_decide_lines(list, text, strlen(text), 1, NULL, applies, 4, &count));
  CHECK(count == 3 && applies[0] == YOX_FALSE && applies[1] == YOX_TRUE);
  CHECK(applies[2] == YOX_UNKNOWN && applies[3] == 9);
  /* No byte after the text is read, wherever it ends: a sanitizer sees it. */
  for (cut = 0; cut <= 17; cut += 17) {
    exact = malloc(cut + 1);
    memcpy(exact, text, cut);
    CHECK_OK(yox_decide_lines(list, exact, cut, 1, NULL, applies, 4, &count));
    CHECK(count == (cut == 0 ? 0 : 1));
    free(exact);
  }
  CHECK_STATUS(YOX_ARGUMENT,
               yox_decide_lines(list, text, strlen(text), 1, NULL, applies, 2, &count));
  CHECK(count == 2);
  CHECK_STATUS(YOX_DOCUMENT,
               yox_decide_lines(list, wrong, strlen(wrong), 41, NULL, applies, 4, &count));
  CHECK(count == 1 && strncmp(yox_error_place(), "line 42", 7) == 0);
  yox_list_free(list);
}

static void a_block_of_lines_decides_as_its_devices(void) {
  static const char text[] =
      "{\"id\": \"a\", \"country\": \"US\"}\n\n \r\n"
      "{\"id\": \"b\", \"country\": \"DE\", \"tags\": {\"Ring\": \"beta\"}}\r\n"
      "{\"country\": \"DE\"}";
  static const char* const ids[] = {"a", "b", ""};
  static const char wrong[] = "{\"id\": \"a\", \"country\": \"US\"}\n{\"contry\": \"US\"}\n{}";
  yox_list* list = list_of(kList);
  yox_lines* lines = NULL;
  uint8_t applies[4] = {9, 9, 9, 9};
  size_t decided_by[4] = {9, 9, 9, 9};
  size_t i, cut;
  yox_text id, document;
  yox_question question = YOX_INIT(yox_question);
  const yox_pair tag = {"Ring", "stable"};
  char* given = malloc(strlen(text));
  memcpy(given, text, strlen(text));
  CHECK_OK(yox_lines_read(given, strlen(text), 1, NULL, NULL, &lines));
  memset(given, 'x', strlen(text)); /* the text was copied */
  free(given);
  CHECK(yox_lines_count(lines) == 3 && yox_lines_count(NULL) == 0);
  CHECK_OK(yox_lines_decide(lines, list, NULL, applies, decided_by));
  CHECK(applies[0] == YOX_FALSE && applies[1] == YOX_TRUE && applies[2] == YOX_UNKNOWN);
  CHECK(decided_by[2] == YOX_NONE && applies[3] == 9 && decided_by[3] == 9);
  for (i = 0; i < 3; ++i) {
    yox_facts* facts;
    yox_verdict verdict = YOX_INIT(yox_verdict);
    CHECK_OK(yox_lines_get(lines, i, &id, &document));
    CHECK(strcmp(id.data, ids[i]) == 0 && id.size == strlen(ids[i]));
    CHECK(document.data[0] == '{' && strlen(document.data) == document.size);
    CHECK_OK(yox_facts_read(document.data, document.size, &facts));
    CHECK_OK(yox_decide(list, facts, NULL, &verdict));
    CHECK(verdict.applies == applies[i] && verdict.decided_by == decided_by[i]);
    yox_facts_free(facts);
  }
  question.tags = &tag;
  question.tag_count = 1;
  CHECK_OK(yox_lines_decide(lines, list, &question, applies, NULL));
  CHECK(applies[1] == YOX_FALSE);
  CHECK_OK(yox_lines_decide(lines, list, NULL, NULL, decided_by));
  CHECK_OK(yox_lines_get(lines, 0, NULL, NULL));
  CHECK_STATUS(YOX_ARGUMENT, yox_lines_get(lines, 3, &id, &document));
  CHECK_STATUS(YOX_ARGUMENT, yox_lines_decide(lines, NULL, NULL, applies, NULL));
  CHECK_STATUS(YOX_NOT_FOUND, yox_lines_decided(lines, applies, NULL));
  yox_lines_free(lines);

  /* Decided on the way. */
  memset(applies, 9, sizeof applies);
  CHECK_OK(yox_lines_read(text, strlen(text), 1, list, &question, &lines));
  CHECK_OK(yox_lines_decided(lines, applies, NULL));
  CHECK(applies[0] == YOX_FALSE && applies[1] == YOX_FALSE && applies[2] == YOX_UNKNOWN);
  CHECK(applies[3] == 9);
  decided_by[0] = decided_by[1] = decided_by[2] = 9;
  CHECK_OK(yox_lines_decided(lines, NULL, decided_by));
  CHECK(decided_by[0] == 0 && decided_by[1] == 2 && decided_by[2] == YOX_NONE);
  CHECK(decided_by[3] == 9);
  CHECK_OK(yox_lines_decide(lines, list, NULL, applies, NULL));
  CHECK(applies[1] == YOX_TRUE);
  yox_lines_free(lines);

  for (cut = 0; cut <= 28; cut += 28) { /* no byte after the text is read */
    given = malloc(cut + 1);
    memcpy(given, text, cut);
    CHECK_OK(yox_lines_read(given, cut, 1, list, NULL, &lines));
    CHECK(yox_lines_count(lines) == (cut == 0 ? 0 : 1));
    CHECK_OK(yox_lines_decide(lines, list, NULL, applies, decided_by));
    yox_lines_free(lines);
    free(given);
  }

  /* What comes before a wrong line can be used. */
  CHECK_STATUS(YOX_DOCUMENT, yox_lines_read(wrong, strlen(wrong), 41, list, NULL, &lines));
  CHECK(strncmp(yox_error_place(), "line 42", 7) == 0);
  CHECK(yox_lines_count(lines) == 1);
  CHECK_OK(yox_lines_decided(lines, applies, NULL));
  CHECK(applies[0] == YOX_FALSE);
  yox_lines_free(lines);
  lines = (yox_lines*)list;
  CHECK_STATUS(YOX_ARGUMENT, yox_lines_read(NULL, 5, 1, NULL, NULL, &lines));
  CHECK(lines == NULL);
  CHECK_STATUS(YOX_ARGUMENT, yox_lines_read(text, strlen(text), 1, NULL, NULL, NULL));
  yox_lines_free(NULL);
  yox_list_free(list);
}

static void a_question_adds_version_tags_and_moment(void) {
  yox_list* list = list_of(
      "[{\"tag\": \"Ring|beta\", \"target_version\": \">=3.0\", \"date_range\": "
      "\"2026-02-01|2026-02-28\"}]");
  yox_facts* facts = facts_of("{\"tags\": {}, \"time_zone\": \"UTC\"}");
  const yox_pair tag = {"Ring", "beta"};
  yox_question question = YOX_INIT(yox_question);
  yox_verdict verdict = YOX_INIT(yox_verdict);
  question.now = 1771243200; /* 2026-02-16 12:00 UTC */
  question.target_version = "3.1";
  question.tags = &tag;
  question.tag_count = 1;
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_TRUE);
  question.target_version = "2.9";
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  question.target_version = "3.1";
  question.tag_count = 0;
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  question.tag_count = 1;
  question.now += 30 * 86400;
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  yox_list_free(list);

  /* Without a question, or with YOX_NOW, it is the moment of the clock. */
  list = list_of("[{\"date_range\": \"1969-12-01|1970-02-01\"}]");
  question.now = 0;
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_TRUE);
  question.now = YOX_NOW;
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  CHECK_OK(yox_decide(list, facts, NULL, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  yox_facts_free(facts);
  yox_list_free(list);
}

static void an_explanation_is_complete(void) {
  yox_list* list = list_of(kList);
  yox_facts* facts = facts_of("{\"country\": \"DE\", \"tags\": {\"Ring\": \"alpha\"}}");
  yox_facts* later = facts_of("{\"country\": \"DE\", \"tags\": {\"Ring\": \"beta\"}}");
  yox_explanation* explanation = NULL;
  yox_explained explained = YOX_INIT(yox_explained);
  yox_explained_filter filter = YOX_INIT(yox_explained_filter);
  yox_explained_criterion criterion = YOX_INIT(yox_explained_criterion);
  yox_explained_fact fact = YOX_INIT(yox_explained_fact);
  yox_trace* before = NULL;
  yox_trace* after = NULL;
  yox_flip flip = YOX_INIT(yox_flip);
  yox_text failed;
  CHECK_OK(yox_explain(list, facts, NULL, &explanation));
  CHECK_OK(yox_explanation_get(explanation, &explained));
  CHECK(explained.applies == YOX_FALSE && explained.decided_by == 2 && explained.nearest_miss == 1);
  CHECK(strstr(explained.reason.data, "Filter [1]: tag = false; ") != NULL);
  CHECK_OK(yox_explanation_filter(explanation, 1, &filter));
  CHECK(filter.outcome == YOX_NOT_MATCHED && filter.decides == 1 && filter.criterion_count == 2);
  CHECK_OK(yox_explanation_filter(explanation, 2, &filter));
  CHECK(filter.outcome == YOX_DEFAULT && filter.decides == 0);
  CHECK_OK(yox_explanation_criterion(explanation, 1, 1, &criterion));
  if (!is(criterion.field, "tag"))
    CHECK_OK(yox_explanation_criterion(explanation, 1, 0, &criterion));
  CHECK(is(criterion.field, "tag") && is(criterion.required, "Ring|beta"));
  CHECK(criterion.result == YOX_DIFFERS && criterion.fact_count == 1);
  CHECK_OK(yox_explanation_fact(explanation, 0, 0, 0, &fact));
  CHECK(is(fact.actual, "DE") && is(fact.required, "US") && fact.result == YOX_DIFFERS);
  CHECK(is(fact.source, "region"));

  CHECK_OK(yox_trace_decision(list, facts, NULL, &before));
  CHECK_OK(yox_trace_decision(list, later, NULL, &after));
  CHECK(yox_trace_failed_count(before) == 2 && yox_trace_failed_count(after) == 1);
  CHECK_OK(yox_trace_failed(before, 1, &failed));
  CHECK(is(failed, "tag"));
  CHECK_OK(yox_trace_flipped_by(before, after, &flip));
  CHECK(flip.filter == 1 && is(flip.criterion, "tag") && flip.holds_now == 1);
  CHECK_OK(yox_trace_flipped_by(after, before, &flip));
  CHECK(flip.filter == 1 && is(flip.criterion, "tag") && flip.holds_now == 0);
  CHECK_STATUS(YOX_NOT_FOUND, yox_trace_flipped_by(before, before, &flip));
  yox_trace_free(after);
  yox_trace_free(before);
  yox_explanation_free(explanation);
  yox_facts_free(later);
  yox_facts_free(facts);
  yox_list_free(list);
}

static void long_criteria_are_counted(void) {
  static char document[1 << 14] = "[{\"tag\": \"";
  size_t i, length = strlen(document);
  yox_facts* facts = facts_of("{\"tags\": {}}");
  yox_list* list;
  yox_explanation* explanation = NULL;
  yox_explained_criterion criterion = YOX_INIT(yox_explained_criterion);
  yox_explained_fact fact = YOX_INIT(yox_explained_fact);
  for (i = 0; i < 300; ++i)
    length += (size_t)sprintf(document + length, "%st%d|x", i == 0 ? "" : ",", (int)i);
  sprintf(document + length, "\"}]");
  list = list_of(document);
  CHECK_OK(yox_explain(list, facts, NULL, &explanation));
  CHECK_OK(yox_explanation_criterion(explanation, 0, 0, &criterion));
  CHECK(criterion.fact_count == 256 && criterion.facts_left_out == 44);
  CHECK_OK(yox_explanation_fact(explanation, 0, 0, 255, &fact));
  CHECK_STATUS(YOX_ARGUMENT, yox_explanation_fact(explanation, 0, 0, 256, &fact));
  yox_explanation_free(explanation);
  yox_list_free(list);
  yox_facts_free(facts);
}

static void documents_come_back(void) {
  yox_list* list = list_of(kList);
  yox_facts* facts = facts_of("{\"id\": \"k\xc3\xbc\", \"country\": \"DE\"}");
  yox_string* written = NULL;
  yox_list* again = NULL;
  yox_facts* facts_again = NULL;
  yox_text id;
  CHECK_OK(yox_list_write(list, &written));
  CHECK_OK(yox_list_read(yox_string_data(written), yox_string_size(written), &again));
  CHECK(yox_list_count(again) == 3);
  yox_string_free(written);
  CHECK_OK(yox_facts_write(facts, 0, &written));
  CHECK(strstr(yox_string_data(written), "k\xc3\xbc") != NULL);
  CHECK(yox_string_size(written) == strlen(yox_string_data(written)));
  CHECK_OK(yox_facts_read(yox_string_data(written), yox_string_size(written), &facts_again));
  CHECK_OK(yox_facts_id(facts_again, &id));
  CHECK(is(id, "k\xc3\xbc"));
  yox_string_free(written);
  yox_facts_free(facts_again);
  yox_facts_free(facts);
  yox_list_free(again);
  yox_list_free(list);
}

static void lint_finds(void) {
  static const char document[] =
      "[{\"language\": \"d*e\"},\n {\"date_range\": \"2026-01-01|2026-01-31\"},\n"
      "{\"country\": \"U*S\"}]";
  const yox_date inside = {2026, 1, 15};
  const yox_date after = {2026, 2, 15};
  yox_findings* findings = NULL;
  yox_finding finding = YOX_INIT(yox_finding);
  size_t count;
  CHECK_OK(yox_lint(document, strlen(document), &inside, &findings));
  count = yox_findings_count(findings);
  CHECK(count >= 1);
  CHECK_OK(yox_findings_get(findings, count - 1, &finding));
  CHECK(is(finding.rule, "inner-star") && finding.severity == YOX_ERROR);
  CHECK(finding.filter == 2 && is(finding.field, "country"));
  CHECK(finding.line == 3 && finding.column == 14);
  CHECK(finding.message.size > 0 && finding.remedy.size > 0);
  CHECK_OK(yox_findings_get(findings, 0, &finding)); /* in the order of the lines */
  CHECK(finding.line == 1 && finding.column == 16 && is(finding.field, "language"));
  yox_findings_free(findings);
  CHECK_OK(yox_lint(document, strlen(document), &after, &findings));
  CHECK(yox_findings_count(findings) == count + 1); /* the window has passed */
  yox_findings_free(findings);
  /* What concerns the list as a whole has no filter and no field. */
  CHECK_OK(yox_lint("[]", 2, NULL, &findings));
  CHECK(yox_findings_count(findings) == 1);
  CHECK_OK(yox_findings_get(findings, 0, &finding));
  CHECK(finding.filter == YOX_NONE && is(finding.field, ""));
  yox_findings_free(findings);
  CHECK_STATUS(YOX_DOCUMENT, yox_lint("{", 1, NULL, &findings));
}

static void a_rollout_grows(void) {
  yox_rollout* rollout = NULL;
  yox_rollout_info info = YOX_INIT(yox_rollout_info);
  yox_date date;
  int32_t buckets = 0, before = 0, day = 0;
  int64_t now_day = 0, i;
  CHECK_OK(yox_rollout_read("2026-03-01|10|linear", &rollout));
  CHECK_OK(yox_rollout_get(rollout, &info));
  CHECK(info.days == 10 && info.by_organisation == 0 && info.has_known_growth == 1);
  CHECK_OK(yox_rollout_buckets_on(rollout, 0, &buckets));
  CHECK(buckets == 0);
  for (i = 1; i <= info.days; ++i) {
    CHECK_OK(yox_rollout_buckets_on(rollout, i, &buckets));
    CHECK(buckets > before);
    before = buckets;
  }
  CHECK(buckets == 4096);
  CHECK_OK(yox_rollout_date(rollout, 2, &date));
  CHECK(date.year == 2026 && date.month == 3 && date.day == 2);
  CHECK_OK(yox_rollout_first_day(rollout, "C0FFEE12", &day));
  CHECK(day >= 1 && day <= 10);
  CHECK_OK(yox_rollout_day_at(rollout, 0, &now_day));
  CHECK(now_day == 0);
  yox_rollout_free(rollout);
  CHECK_OK(yox_rollout_read("2026-03-01|10|linear|tenant", &rollout));
  CHECK_OK(yox_rollout_get(rollout, &info));
  CHECK(info.by_organisation == 1);
  yox_rollout_free(rollout);
  CHECK_OK(yox_rollout_read("2026-03-01|10|cubic", &rollout));
  CHECK_OK(yox_rollout_get(rollout, &info));
  CHECK(info.has_known_growth == 0);
  yox_rollout_free(rollout);
}

static void profiles_give_facts(void) {
  yox_list* list = list_of("[{\"country\": \"DE\", \"mfr\": \"con*\"}]");
  static const char other[] = "{\"region\": {\"country_code\": \"FR\"}}";
  const yox_list* lists[1];
  yox_facts* first = NULL;
  yox_facts* second = NULL;
  yox_verdict verdict = YOX_INIT(yox_verdict);
  yox_runtime* runtime;
  yox_pairs* record = NULL;
  yox_text key, value;
  size_t i;
  lists[0] = list;
  CHECK_OK(yox_facts_from_profile(kProfile, strlen(kProfile), lists, 1, &first));
  CHECK_OK(yox_facts_from_profile(other, strlen(other), lists, 1, &second));
  CHECK_OK(yox_decide(list, first, NULL, &verdict));
  CHECK(verdict.applies == YOX_TRUE);
  CHECK_OK(yox_decide(list, second, NULL, &verdict));
  CHECK(verdict.applies == YOX_FALSE);
  CHECK_STATUS(YOX_DOCUMENT, yox_facts_from_profile("[]", 2, NULL, 0, &second));

  /* A runtime reads its own device, whatever was collected before. */
  runtime = started(0);
  CHECK_OK(yox_device_record(runtime, &record));
  for (i = 0; i < yox_pairs_count(record); ++i) {
    CHECK_OK(yox_pairs_get(record, i, &key, &value));
    if (is(key, "os_region")) CHECK(is(value, "DE"));
  }
  CHECK_STATUS(YOX_STATE, yox_facts_from_profile(kProfile, strlen(kProfile), lists, 1, &second));
  yox_pairs_free(record);
  yox_runtime_stop(runtime);
  yox_facts_free(second);
  yox_facts_free(first);
  yox_list_free(list);
}

static int has_machine_type(yox_runtime* runtime, const char* type) {
  yox_pairs* record = NULL;
  yox_text key, value;
  size_t i;
  int found = 0;
  CHECK_OK(yox_device_record(runtime, &record));
  for (i = 0; i < yox_pairs_count(record); ++i) {
    CHECK_OK(yox_pairs_get(record, i, &key, &value));
    found += is(key, "device_mt") && is(value, type);
  }
  yox_pairs_free(record);
  return found;
}

static void the_device_decides(void) {
  yox_runtime* runtime = started(0);
  yox_runtime* another = NULL;
  yox_list* list = list_of(kList);
  const yox_pair tag = {"Ring", "beta"};
  const yox_pair stored = {"Stage", "one"};
  yox_question question = YOX_INIT(yox_question);
  yox_string* reason = NULL;
  yox_string* line = NULL;
  yox_pairs* record = NULL;
  yox_pairs* tags = NULL;
  yox_trace* trace = NULL;
  yox_explanation* explanation = NULL;
  yox_verdict verdict = YOX_INIT(yox_verdict);
  yox_explained explained = YOX_INIT(yox_explained);
  yox_facts* facts = NULL;
  const yox_list* lists[1];
  yox_text key, value;
  int32_t applies = 9;
  size_t i, serials = 0, stages = 0;
  CHECK_OK(yox_device_record(runtime, &record));
  for (i = 0; i < yox_pairs_count(record); ++i) {
    CHECK_OK(yox_pairs_get(record, i, &key, &value));
    if (is(key, "serial_number") && is(value, "C0FFEE12")) ++serials;
  }
  CHECK(serials == 1);
  CHECK_STATUS(YOX_ARGUMENT, yox_pairs_get(record, yox_pairs_count(record), &key, NULL));

  CHECK_OK(yox_device_decide(runtime, list, NULL, &applies, &reason));
  CHECK(applies == YOX_FALSE && strstr(yox_string_data(reason), "Filter [1]: tag = false") != NULL);
  yox_string_free(reason);
  question.tags = &tag;
  question.tag_count = 1;
  CHECK_OK(yox_device_decide(runtime, list, &question, &applies, NULL));
  CHECK(applies == YOX_TRUE);
  CHECK_OK(yox_device_trace(runtime, list, &question, &trace));
  CHECK_OK(yox_trace_verdict(trace, &verdict));
  CHECK(verdict.applies == YOX_TRUE && verdict.decided_by == 1);
  CHECK_OK(yox_device_explain(runtime, list, NULL, &explanation));
  CHECK_OK(yox_explanation_get(explanation, &explained));
  CHECK(explained.applies == YOX_FALSE && explained.nearest_miss == 1);

  CHECK_OK(yox_tags_add(runtime, &stored, 1, 1));
  CHECK_OK(yox_tags_get(runtime, &tags));
  for (i = 0; i < yox_pairs_count(tags); ++i) {
    CHECK_OK(yox_pairs_get(tags, i, &key, &value));
    stages += is(key, "Stage") && is(value, "one");
  }
  CHECK(stages == 1);
  yox_pairs_free(tags);
  CHECK_OK(yox_registry_set_text(runtime, "HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags",
                                 "Late", "two"));
  CHECK_OK(yox_tags_refresh(runtime)); /* from the registry */
  CHECK_OK(yox_tags_get(runtime, &tags));
  for (i = stages = 0; i < yox_pairs_count(tags); ++i) {
    CHECK_OK(yox_pairs_get(tags, i, &key, NULL));
    stages += is(key, "Stage") || is(key, "Late");
  }
  CHECK(stages == 2);

  lists[0] = list;
  CHECK_OK(yox_device_facts(runtime, lists, 1, &facts));
  CHECK_OK(yox_decide(list, facts, &question, &verdict));
  CHECK(verdict.applies == YOX_TRUE);
  CHECK_OK(yox_facts_write(facts, 1, &line));
  CHECK(strstr(yox_string_data(line), "C0FFEE12") == NULL);
  yox_string_free(line);
  CHECK_OK(yox_facts_write(facts, 0, &line));
  CHECK(strstr(yox_string_data(line), "\"Stage\"") != NULL);

  CHECK_STATUS(YOX_STATE, yox_runtime_start(NULL, &another));
  /* The record is read once, and again when it is refreshed. */
  CHECK_OK(yox_registry_set_text(runtime, "HKLM\\SOFTWARE\\Tervan\\YOXDeviceSimulator",
                                 "MachineType", "Contoso 9"));
  CHECK(!has_machine_type(runtime, "Contoso 9"));
  CHECK_OK(yox_device_refresh(runtime));
  CHECK(has_machine_type(runtime, "Contoso 9"));
  yox_runtime_stop(runtime);
  CHECK_STATUS(YOX_STATE, yox_runtime_start(NULL, &another));
  /* What does not change outlives the runtime. */
  CHECK_OK(yox_decide(list, facts, NULL, &verdict));
  yox_string_free(line);
  yox_facts_free(facts);
  yox_explanation_free(explanation);
  yox_trace_free(trace);
  yox_pairs_free(tags);
  yox_pairs_free(record);
  yox_list_free(list);
}

static atomic_int calls;

typedef struct delivered {
  atomic_int count;
  int turn; /* of the last call, among those to all subscribers */
  int32_t topic, event;
  char payload[32];
} delivered;

static void keep(void* context, const yox_notification* notification) {
  delivered* const to = context;
  yox_list* none = NULL;
  yox_list_read("{", 1, &none); /* an error of this thread */
  to->turn = atomic_fetch_add(&calls, 1);
  to->topic = notification->topic;
  to->event = notification->event;
  CHECK(notification->size == sizeof *notification);
  snprintf(to->payload, sizeof to->payload, "%s", notification->payload.data);
  atomic_fetch_add(&to->count, 1);
}

/* Waits in the library's calls until the record has arrived, at most half a minute. */
static int arrived(yox_runtime* runtime, delivered* to, int count) {
  const time_t limit = time(NULL) + 30;
  while (atomic_load(&to->count) < count && time(NULL) < limit) {
    int32_t event;
    yox_bus_last_event(runtime, 41, &event);
  }
  return atomic_load(&to->count) == count;
}

static void the_bus_delivers(void) {
  yox_runtime* runtime = started(0);
  yox_subscription* subscription = NULL;
  yox_subscription* second = NULL;
  delivered to = {0}, other = {0};
  int32_t event = 0;
  CHECK_STATUS(YOX_NOT_FOUND, yox_bus_last_event(runtime, 41, &event));
  CHECK_STATUS(YOX_ARGUMENT, yox_bus_subscribe(runtime, NULL, NULL, 0, &subscription));
  CHECK_OK(yox_bus_subscribe(runtime, keep, &to, 0, &subscription));
  CHECK_OK(yox_bus_subscribe(runtime, keep, &other, 1, &second));
  CHECK_OK(yox_bus_publish(runtime, 41, 7, "p\xc3\xa4yload", NULL));
  CHECK(arrived(runtime, &to, 1) && arrived(runtime, &other, 1));
  CHECK(to.topic == 41 && to.event == 7 && strcmp(to.payload, "p\xc3\xa4yload") == 0);
  CHECK_OK(yox_bus_last_event(runtime, 41, &event));
  CHECK(event == 7);
  CHECK(other.turn < to.turn); /* which wanted to be first */
  /* A sender does not get its own record; what is unsubscribed gets none. */
  CHECK_STATUS(YOX_ARGUMENT, yox_device_refresh(NULL));
  CHECK_OK(yox_bus_publish(runtime, 41, 8, "", subscription));
  CHECK(arrived(runtime, &other, 2));
  CHECK(strcmp(yox_error_message(), "runtime: is NULL") == 0); /* not the other thread's */
  CHECK_STATUS(YOX_ARGUMENT, yox_tags_get(runtime, NULL));
  yox_bus_unsubscribe(subscription);
  CHECK(atomic_load(&to.count) == 1);
  CHECK_OK(yox_bus_publish(runtime, 41, 9, "", NULL));
  CHECK(arrived(runtime, &other, 3) && other.event == 9 && atomic_load(&to.count) == 1);
  yox_runtime_stop(runtime);
  yox_bus_unsubscribe(second); /* after the stop: frees, and nothing else */
}

static void a_runtime_stops_without_a_record(void) {
  const int threads_before = threads();
  yox_runtime* runtime = started(0);
  yox_subscription* subscription = NULL;
  delivered to = {0};
  CHECK_OK(yox_bus_subscribe(runtime, keep, &to, 0, &subscription));
  yox_runtime_stop(runtime);
  CHECK(threads_are_again(threads_before));
  yox_bus_unsubscribe(subscription);
}

static void count_changes(void* context, const yox_registry_change* change) {
  int* const counts = context;
  ++counts[change->action];
  CHECK(is(change->key, "") || is(change->key, "D"));
  CHECK(change->name.size == strlen(change->name.data));
}

static void the_registry_is_read_and_written(void) {
  static const char key[] = "HKLM\\SOFTWARE\\Contoso\\C";
  static const unsigned char bytes[] = {1, 0, 2};
  yox_runtime* runtime = started(0);
  yox_registry_watch* watch = NULL;
  yox_registry_watch* forgotten = NULL;
  yox_string* text = NULL;
  yox_pairs* pairs = NULL;
  yox_text name, data;
  uint64_t number = 0;
  uint32_t type = 0;
  int counts[5] = {0}, others[5] = {0};
  size_t i;
  CHECK_STATUS(YOX_NOT_FOUND, yox_registry_get_text(runtime, key, "Name", &text));
  CHECK_STATUS(YOX_ARGUMENT, yox_registry_get_text(runtime, "HKXX\\A", "Name", &text));
  CHECK_STATUS(YOX_ARGUMENT, yox_registry_get_text(runtime, "HKLM\\A\\\\B", "Name", &text));
  CHECK(strstr(yox_error_message(), "key: expected HKLM") == yox_error_message());
  CHECK_OK(yox_registry_set_text(runtime, key, "Name", "V\xc3\xa4lue"));
  CHECK_OK(yox_registry_watch_key(runtime, key, count_changes, counts, &watch));
  CHECK_OK(yox_registry_watch_key(runtime, key, count_changes, others, &forgotten));
  CHECK_OK(yox_registry_get_text(runtime, key, "Name", &text));
  CHECK(strcmp(yox_string_data(text), "V\xc3\xa4lue") == 0);
  yox_string_free(text);
  CHECK_OK(yox_registry_set_number(runtime, key, "N", 7));
  CHECK_OK(yox_registry_get_number(runtime, key, "N", &number));
  CHECK(number == 7 && counts[YOX_VALUE_SET] == 1);
  CHECK_OK(yox_registry_set(runtime, key, "Q", 11, "\1\0\0\0\1\0\0\0", 8));
  CHECK_OK(yox_registry_get_number(runtime, key, "Q", &number));
  CHECK(number == 0x100000001 && counts[YOX_VALUE_SET] == 2);
  CHECK_STATUS(YOX_NOT_FOUND, yox_registry_get_number(runtime, key, "Name", &number));
  CHECK_STATUS(YOX_ARGUMENT, yox_registry_set(runtime, key, "Q", 3, NULL, 1));
  CHECK_STATUS(YOX_NOT_FOUND, yox_registry_get_text(runtime, key, "N", &text));
  yox_registry_watch_free(watch);
  CHECK_OK(yox_registry_set(runtime, "HKLM\\SOFTWARE\\Contoso\\C\\D", "", 3, bytes, sizeof bytes));
  CHECK_OK(yox_registry_get(runtime, "HKLM\\SOFTWARE\\Contoso\\C\\D", "", &type, &text));
  CHECK(type == 3 && yox_string_size(text) == 3 && memcmp(yox_string_data(text), bytes, 3) == 0);
  yox_string_free(text);
  CHECK(counts[YOX_VALUE_SET] == 2 && counts[YOX_KEY_CREATED] == 0); /* no calls after the free */
  CHECK(others[YOX_KEY_CREATED] == 1);
  CHECK_OK(yox_registry_keys(runtime, key, &pairs));
  CHECK(yox_pairs_count(pairs) == 1);
  CHECK_OK(yox_pairs_get(pairs, 0, &name, &data));
  CHECK(is(name, "D"));
  yox_pairs_free(pairs);
  CHECK_OK(yox_registry_values(runtime, key, &pairs));
  CHECK(yox_pairs_count(pairs) == 3);
  for (i = 0; i < yox_pairs_count(pairs); ++i) { /* texts alone are given */
    CHECK_OK(yox_pairs_get(pairs, i, &name, &data));
    CHECK(is(data, is(name, "Name") ? "V\xc3\xa4lue" : ""));
  }
  yox_pairs_free(pairs);
  CHECK_OK(yox_registry_set(runtime, key, "E", 2, "%\0A\0\0\0", 6)); /* expandable text */
  CHECK_OK(yox_registry_get_text(runtime, key, "E", &text));
  CHECK(strcmp(yox_string_data(text), "%A") == 0);
  yox_string_free(text);
  CHECK_OK(yox_registry_delete(runtime, key, "N"));
  CHECK(others[YOX_VALUE_DELETED] == 1 && others[YOX_KEY_DELETED] == 0);
  CHECK_STATUS(YOX_NOT_FOUND, yox_registry_delete(runtime, key, "N"));
  CHECK_OK(yox_registry_delete(runtime, key, NULL));
  CHECK(others[YOX_KEY_DELETED] >= 1);
  CHECK_STATUS(YOX_NOT_FOUND, yox_registry_keys(runtime, key, &pairs));
  yox_runtime_stop(runtime);
  yox_registry_watch_free(forgotten); /* after the stop */
}

/* On Linux, where a folder can be closed to the account that runs the test, and root takes another
 * account. On Windows every test runs as an administrator. */
static void what_is_not_permitted_is_denied(void) {
#ifdef __linux__
  static const char key[] = "HKLM\\SOFTWARE\\Contoso\\C";
  char folder[] = "/tmp/yox-c-XXXXXX";
  yox_runtime* runtime = NULL;
  yox_registry_watch* watch = NULL;
  yox_string* text = NULL;
  yox_pairs* pairs = NULL;
  int counts[5] = {0};
  CHECK(mkdtemp(folder) != NULL && setenv("YOX_STATE_DIR", folder, 1) == 0);
  CHECK(chmod(folder, 0) == 0);
  CHECK(geteuid() != 0 || seteuid(65534) == 0);
  CHECK_OK(yox_runtime_start(NULL, &runtime));
  CHECK_STATUS(YOX_DENIED, yox_registry_get_text(runtime, key, "Name", &text));
  CHECK(strstr(yox_error_message(), "denied") != NULL);
  CHECK(strcmp(yox_status_name(YOX_DENIED), "YOX_DENIED") == 0);
  CHECK_STATUS(YOX_DENIED, yox_registry_set_text(runtime, key, "Name", "value"));
  CHECK_STATUS(YOX_DENIED, yox_registry_delete(runtime, key, NULL));
  CHECK_STATUS(YOX_DENIED, yox_registry_keys(runtime, key, &pairs));
  CHECK_STATUS(YOX_DENIED, yox_registry_values(runtime, key, &pairs));
  CHECK_STATUS(YOX_DENIED, yox_registry_watch_key(runtime, key, count_changes, counts, &watch));
  yox_runtime_stop(runtime);
  CHECK(seteuid(getuid()) == 0 && rmdir(folder) == 0);
#endif
}

#ifdef __linux__
static int remove_entry(const char* path, const struct stat* status, int type, struct FTW* place) {
  (void)status, (void)type, (void)place;
  return remove(path);
}
#endif

/* On Linux, where the environment names the folder of temporary folders. */
static void a_missing_temporary_folder_is_the_systems_error(void) {
#ifdef __linux__
  yox_runtime_options options = YOX_INIT(yox_runtime_options);
  yox_runtime* runtime = NULL;
  CHECK(setenv("TMPDIR", "/dev/null", 1) == 0);
  options.profile = kProfile;
  options.profile_size = strlen(kProfile);
  CHECK_STATUS(YOX_SYSTEM, yox_runtime_start(&options, &runtime));
  CHECK(strlen(yox_error_message()) > 0);
#endif
}

static void a_device_keeps_its_files_in_the_given_folder(void) {
#ifdef __linux__
  yox_runtime_options options = YOX_INIT(yox_runtime_options);
  yox_runtime* runtime = NULL;
  char folder[] = "/tmp/yox-c-XXXXXX";
  CHECK(mkdtemp(folder) != NULL);
  options.profile = kProfile;
  options.profile_size = strlen(kProfile);
  options.directory = folder;
  CHECK_OK(yox_runtime_start(&options, &runtime));
  yox_runtime_stop(runtime);
  CHECK(rmdir(folder) != 0); /* it is not empty */
  CHECK(nftw(folder, remove_entry, 8, FTW_DEPTH | FTW_PHYS) == 0);
#endif
}

static void a_watching_runtime_stops(void) {
  const int threads_before = threads();
  yox_runtime* runtime = started(1);
  yox_list* list = list_of(kList);
  int32_t applies = 9;
  CHECK_OK(yox_device_decide(runtime, list, NULL, &applies, NULL));
  CHECK(applies == YOX_FALSE);
  yox_runtime_stop(runtime);
  CHECK(threads_are_again(threads_before));
  yox_list_free(list);
}

#define CASE(name) \
  { #name, name }
static const struct {
  const char* name;
  void (*run)(void);
} cases[] = {
#include "cases.inc" /* CASE(name), for each that CMakeLists.txt lists */
};

int main(int count, char** arguments) {
  size_t i, ran = 0;
  for (i = 0; i < sizeof cases / sizeof *cases; ++i) {
    if (count != 2 || strcmp(arguments[1], cases[i].name) != 0) continue;
    cases[i].run();
    ++ran;
  }
  if (ran == 0) printf("no such case\n");
  return failures != 0 || ran == 0;
}
