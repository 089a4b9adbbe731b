/* SPDX-License-Identifier: Apache-2.0 */
#ifndef YOX_C_YOX_H
#define YOX_C_YOX_H

/* The C interface of the library yox (docs/embedding.md), for programs in C and for bindings to
 * other languages. It compiles as C99 and as C++.
 *
 * Handles. A type that is only declared here, such as yox_list, is an opaque handle. A function
 * that returns one through its last parameter creates it, and the function yox_..._free of the type
 * destroys it; NULL may be freed. The output is written on success only. A handle of a list, of
 * facts, or of a result never changes: any number of threads may read it at the same time, as long
 * as none frees it.
 *
 * Texts are UTF-8. A parameter `const char*` without a size ends with a zero byte; where the
 * parameter that follows is its size in bytes, it does not need one. Malformed UTF-8 is refused
 * with YOX_ARGUMENT. A yox_text that the library fills points into the handle that it was read from
 * and is valid until that is freed.
 *
 * Structs whose first member is `size` may get further members at their end in later versions. The
 * caller sets `size` to sizeof the struct, as the macro YOX_INIT does; the library reads and writes
 * no byte beyond it, and takes members that the caller's version does not have as zero. A `size`
 * that is smaller than the struct of version 0.1 is refused with YOX_ARGUMENT.
 *
 * Errors. A function that can fail returns a yox_status, and no exception leaves a function. After
 * a failure yox_error_message and yox_error_place describe it. A required pointer that is NULL is
 * YOX_ARGUMENT.
 *
 * Threads. Every function may be called from any thread, except where its comment restricts it. */

#include <stddef.h>
#include <stdint.h>

#if defined(YOX_STATIC)
#define YOX_C_API
#elif defined(_WIN32)
#if defined(YOX_BUILDING)
#define YOX_C_API __declspec(dllexport)
#else
#define YOX_C_API __declspec(dllimport)
#endif
#else
#define YOX_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* How a call ended. */
typedef int32_t yox_status;
enum {
  YOX_OK = 0,
  YOX_NOT_FOUND = 1, /* no such key, value, tag or event; no criterion differs */
  YOX_ARGUMENT = 2,  /* a NULL pointer, an index out of range, malformed UTF-8, a wrong `size` */
  YOX_DOCUMENT = 3,  /* a document that cannot be read; yox_error_place says where */
  YOX_STATE = 4,     /* not now: the runtime was started already, or is running */
  YOX_DENIED = 5,    /* this process has no permission */
  YOX_SYSTEM = 6,    /* a call of the operating system failed */
  YOX_NO_MEMORY = 7, /* out of memory; nothing was changed */
  YOX_INTERNAL = 8   /* another exception within the library */
};

/* A value of a decision: an undetermined one depends on facts that are unknown. */
enum { YOX_FALSE = 0, YOX_TRUE = 1, YOX_UNKNOWN = 2 };

/* An index that is absent: no filter decided, a finding concerns the list as a whole. */
#define YOX_NONE ((size_t)-1)
/* The moment of the device's clock instead of a given one. */
#define YOX_NOW INT64_MIN
/* Zeroes a struct and sets its `size`: yox_verdict verdict = YOX_INIT(yox_verdict); */
#ifdef __cplusplus
#define YOX_INIT(type) (::yox_initialised<type>())
extern "C++" {
template <class Type>
inline Type yox_initialised() {
  Type value = {};
  value.size = sizeof value;
  return value;
}
}
#else
#define YOX_INIT(type) \
  { .size = sizeof(type) }
#endif

/* A text of the library's: `size` bytes of UTF-8, and a zero byte after them. `data` is never NULL.
 */
typedef struct yox_text {
  const char* data;
  size_t size;
} yox_text;

/* A key and a value of the caller's. */
typedef struct yox_pair {
  const char* key;
  const char* value;
} yox_pair;

/* A day of the calendar; month and day count from 1. */
typedef struct yox_date {
  int32_t year;
  int32_t month;
  int32_t day;
} yox_date;

/* ---- errors and texts ---- */

/* The version of the library, such as "0.1.0". Never freed. */
YOX_C_API const char* yox_version(void);

/* What was wrong with the last call on this thread that did not return YOX_OK: one line, such as
 * "filters[2].country: expected a string, found a number". Empty if there was none. Valid until the
 * next call on this thread that fails. */
YOX_C_API const char* yox_error_message(void);

/* The place in the document that the message begins with, such as "filters[2].country", "line 3,
 * column 7", or both, with ": " between them. Empty for an error without a place. Valid as
 * yox_error_message. */
YOX_C_API const char* yox_error_place(void);

/* The name of a status, such as "YOX_DOCUMENT"; "unknown" for a number that is none. Never freed.
 */
YOX_C_API const char* yox_status_name(yox_status status);

/* A text or a sequence of bytes that the caller owns. */
typedef struct yox_string yox_string;
/* Its bytes, with a zero byte after them; an empty text for NULL. */
YOX_C_API const char* yox_string_data(const yox_string* string);
/* The number of its bytes, without the zero byte; 0 for NULL. */
YOX_C_API size_t yox_string_size(const yox_string* string);
/* Frees a text. NULL is ignored. */
YOX_C_API void yox_string_free(yox_string* string);

/* An ordered list of keys and values. */
typedef struct yox_pairs yox_pairs;
/* The number of pairs; 0 for NULL. */
YOX_C_API size_t yox_pairs_count(const yox_pairs* pairs);
/* Reads the pair with this index. `value` may be NULL. */
YOX_C_API yox_status yox_pairs_get(const yox_pairs* pairs, size_t index, yox_text* key,
                                   yox_text* value);
/* Frees pairs. NULL is ignored. */
YOX_C_API void yox_pairs_free(yox_pairs* pairs);

/* ---- filter lists ---- */

/* A filter list with its requirements parsed. */
typedef struct yox_list yox_list;
/* Reads a filter document (docs/filter-list.md), at most 4 MiB long. */
YOX_C_API yox_status yox_list_read(const char* document, size_t size, yox_list** list);
/* Writes the list as a document, without what is not set. */
YOX_C_API yox_status yox_list_write(const yox_list* list, yox_string** document);
/* The number of filters; 0 for NULL. */
YOX_C_API size_t yox_list_count(const yox_list* list);
/* Frees a list; facts, verdicts and explanations that were made with it stay. NULL is ignored. */
YOX_C_API void yox_list_free(yox_list* list);

/* What is wrong or suspicious in a list (docs/lint.md). */
typedef struct yox_findings yox_findings;
enum { YOX_WARNING = 0, YOX_ERROR = 1 };
/* Something that is wrong or suspicious in a list. Its texts are valid until the findings are
 * freed. */
typedef struct yox_finding {
  size_t size;
  int32_t severity; /* YOX_WARNING or YOX_ERROR */
  yox_text rule;    /* its ID, such as "never-holds" */
  size_t filter;    /* YOX_NONE: the list as a whole */
  yox_text field;   /* the criterion; empty: the filter as a whole */
  size_t line;      /* of the document, from 1 */
  size_t column;    /* from 1, in code points */
  yox_text message; /* one line */
  yox_text remedy;  /* one line */
} yox_finding;
/* Checks a filter document. `today` decides which windows have passed; NULL: the date of the clock.
 */
YOX_C_API yox_status yox_lint(const char* document, size_t size, const yox_date* today,
                              yox_findings** findings);
/* The number of findings; 0 for NULL. */
YOX_C_API size_t yox_findings_count(const yox_findings* findings);
/* Reads a finding. They are in the order of the document. */
YOX_C_API yox_status yox_findings_get(const yox_findings* findings, size_t index,
                                      yox_finding* finding);
/* Frees findings. NULL is ignored. */
YOX_C_API void yox_findings_free(yox_findings* findings);

/* ---- facts ---- */

/* What is known of one device, prepared for many decisions. */
typedef struct yox_facts yox_facts;
/* Reads a facts document (docs/facts.md): a line of a fleet. */
YOX_C_API yox_status yox_facts_read(const char* document, size_t size, yox_facts** facts);
/* Writes the facts as one line without a line feed. With `anonymous`, hashes take the place of
 * serial number and realm; every decision stays the same. */
YOX_C_API yox_status yox_facts_write(const yox_facts* facts, int32_t anonymous,
                                     yox_string** document);
/* Collects the facts of the device that a device profile describes (docs/device-profile.md). Of the
 * registry it takes the values that the lists read. Takes milliseconds, and one thread at a time.
 * YOX_STATE while a runtime is running. */
YOX_C_API yox_status yox_facts_from_profile(const char* profile, size_t size,
                                            const yox_list* const* lists, size_t list_count,
                                            yox_facts** facts);
/* The name that the facts have in a fleet; may be empty. */
YOX_C_API yox_status yox_facts_id(const yox_facts* facts, yox_text* id);
/* Frees facts. NULL is ignored. */
YOX_C_API void yox_facts_free(yox_facts* facts);

/* ---- decisions ---- */

/* What a decision depends on besides list and device. A NULL pointer in its place means the moment
 * of the clock, no target version and no tags. */
typedef struct yox_question {
  size_t size;
  int64_t now;                /* seconds since 1970, or YOX_NOW */
  const char* target_version; /* NULL: none */
  const yox_pair* tags;       /* replace the device's tags of the same key */
  size_t tag_count;
} yox_question;

/* What a list decides for a device. */
typedef struct yox_verdict {
  size_t size;
  int32_t applies;   /* YOX_FALSE, YOX_TRUE, or YOX_UNKNOWN: it depends on facts that are unknown */
  size_t decided_by; /* the index of the filter; YOX_NONE: no filter decided */
} yox_verdict;

/* Decides a list for a device. */
YOX_C_API yox_status yox_decide(const yox_list* list, const yox_facts* facts,
                                const yox_question* question, yox_verdict* verdict);
/* Decides a list for each of `count` devices and writes YOX_FALSE, YOX_TRUE or YOX_UNKNOWN to
 * `applies`. */
YOX_C_API yox_status yox_decide_many(const yox_list* list, const yox_facts* const* devices,
                                     size_t count, const yox_question* question, uint8_t* applies);

/* Decides a list for each device of a text with one facts document on each line, at the speed at
 * which they can be parsed; blank lines are skipped. Writes a value as yox_decide_many for each
 * document, and their number to `count`; `capacity` is the size of `applies`, and YOX_ARGUMENT is
 * returned when there are more documents. `first_line` is the number of the text's first line,
 * which errors name; 1 for a whole file. After an error `count` and `applies` are as far as the
 * text was read. */
YOX_C_API yox_status yox_decide_lines(const yox_list* list, const char* text, size_t size,
                                      size_t first_line, const yox_question* question,
                                      uint8_t* applies, size_t capacity, size_t* count);

/* A block of a fleet: a text with one facts document on each line, to decide on the devices one by
 * one without a call for each. */
typedef struct yox_lines yox_lines;
/* Reads the devices of a text; blank lines are skipped. The text is copied. `first_line` is the
 * number of its first line, which errors name. With a list, which may be NULL, it is decided for
 * each device on the way, in less time than by yox_lines_decide afterwards; yox_lines_decided
 * returns the verdicts. On YOX_DOCUMENT `lines` has the devices before the wrong line; it is NULL
 * after every other error. */
YOX_C_API yox_status yox_lines_read(const char* text, size_t size, size_t first_line,
                                    const yox_list* list, const yox_question* question,
                                    yox_lines** lines);
/* The number of devices; 0 for NULL. */
YOX_C_API size_t yox_lines_count(const yox_lines* lines);
/* The name and the facts document of a device; valid while `lines` is. Either may be NULL. */
YOX_C_API yox_status yox_lines_get(const yox_lines* lines, size_t index, yox_text* id,
                                   yox_text* document);
/* Decides a list for each device. Writes YOX_FALSE, YOX_TRUE or YOX_UNKNOWN to `applies` and the
 * index of the deciding filter, or YOX_NONE, to `decided_by`, each with an element for each device;
 * either may be NULL. May be called for one block from several threads at once. */
YOX_C_API yox_status yox_lines_decide(const yox_lines* lines, const yox_list* list,
                                      const yox_question* question, uint8_t* applies,
                                      size_t* decided_by);
/* Returns, in the same form, what the list of yox_lines_read decides; YOX_NOT_FOUND without a list.
 */
YOX_C_API yox_status yox_lines_decided(const yox_lines* lines, uint8_t* applies,
                                       size_t* decided_by);
/* Frees a block. NULL is ignored. */
YOX_C_API void yox_lines_free(yox_lines* lines);

/* How a decision went: its verdict, its reason, and the first criterion that failed in each filter.
 */
typedef struct yox_trace yox_trace;
/* Decides a list for a device and keeps how it went. */
YOX_C_API yox_status yox_trace_decision(const yox_list* list, const yox_facts* facts,
                                        const yox_question* question, yox_trace** trace);
/* The verdict, the same that yox_decide returns. */
YOX_C_API yox_status yox_trace_verdict(const yox_trace* trace, yox_verdict* verdict);
/* The reason, such as "Filter [0]: country = false; Filter [1]: true; ". */
YOX_C_API yox_status yox_trace_reason(const yox_trace* trace, yox_text* reason);
/* The number of filters that were passed over; 0 for NULL. */
YOX_C_API size_t yox_trace_failed_count(const yox_trace* trace);
/* The criterion that failed first in a filter that was passed over, counted among those. */
YOX_C_API yox_status yox_trace_failed(const yox_trace* trace, size_t index, yox_text* criterion);

/* The criterion that changed a decision. */
typedef struct yox_flip {
  size_t size;
  size_t filter;
  yox_text criterion; /* never freed */
  int32_t holds_now;  /* whether the criterion is met after the change */
} yox_flip;
/* Returns which criterion made another filter of the same list decide after a change of the device;
 * YOX_NOT_FOUND if the same filter decides as before. */
YOX_C_API yox_status yox_trace_flipped_by(const yox_trace* before, const yox_trace* after,
                                          yox_flip* flip);
/* Frees a trace. NULL is ignored. */
YOX_C_API void yox_trace_free(yox_trace* trace);

/* Why a list decides as it does (docs/explaining.md). */
typedef struct yox_explanation yox_explanation;

/* An explanation as a whole. `reason` is the text of yox_trace_reason. */
typedef struct yox_explained {
  size_t size;
  int32_t applies;     /* as in yox_verdict */
  size_t decided_by;   /* as in yox_verdict */
  size_t nearest_miss; /* the filter with the fewest failing criteria that would have changed the
                          verdict; YOX_NONE: none */
  size_t filter_count;
  size_t need_count; /* facts without which the verdict is undetermined */
  yox_text reason;
} yox_explained;

enum {
  YOX_MATCHED = 0,
  YOX_NOT_MATCHED = 1,
  YOX_DEFAULT = 2, /* decided unseen, by `default` */
  YOX_NOT_REACHED = 3,
  YOX_UNDECIDED = 4 /* some criteria are unknown and none is false */
};
/* One filter of an explanation. */
typedef struct yox_explained_filter {
  size_t size;
  int32_t outcome; /* YOX_MATCHED to YOX_UNDECIDED */
  int32_t decides; /* what it decides when it does: 1 applies, 0 does not */
  size_t criterion_count;
} yox_explained_filter;

enum {
  YOX_HELD = 0,     /* met */
  YOX_DIFFERS = 1,  /* the device has another value */
  YOX_MISSING = 2,  /* the device has none */
  YOX_NOT_KNOWN = 3 /* the fact is unknown */
};
/* One criterion of a filter. */
typedef struct yox_explained_criterion {
  size_t size;
  yox_text field;        /* such as "country" */
  yox_text required;     /* as the list has it */
  int32_t result;        /* YOX_HELD to YOX_NOT_KNOWN */
  size_t fact_count;     /* at least 1, at most 256 */
  size_t facts_left_out; /* how many there are beyond the first 256 */
} yox_explained_criterion;

/* One thing that a criterion was compared with. */
typedef struct yox_explained_fact {
  size_t size;
  yox_text required; /* the term of the criterion that reads this fact */
  yox_text actual;   /* empty: the device has none */
  yox_text source;   /* such as "region" */
  yox_text note;     /* such as "no such key"; often empty */
  int32_t result;    /* YOX_HELD to YOX_NOT_KNOWN */
} yox_explained_fact;

/* Explains what a list decides for a device. */
YOX_C_API yox_status yox_explain(const yox_list* list, const yox_facts* facts,
                                 const yox_question* question, yox_explanation** explanation);
/* Reads the verdict and the numbers of its parts; then each filter, criterion and fact by its
 * index. */
YOX_C_API yox_status yox_explanation_get(const yox_explanation* explanation,
                                         yox_explained* explained);
/* The name of a fact that would help to settle an undetermined verdict. */
YOX_C_API yox_status yox_explanation_need(const yox_explanation* explanation, size_t index,
                                          yox_text* fact);
/* Reads a filter. */
YOX_C_API yox_status yox_explanation_filter(const yox_explanation* explanation, size_t filter,
                                            yox_explained_filter* explained);
/* Reads a criterion of a filter; they are in the order in which they were looked at. */
YOX_C_API yox_status yox_explanation_criterion(const yox_explanation* explanation, size_t filter,
                                               size_t criterion,
                                               yox_explained_criterion* explained);
/* Reads a fact that a criterion was compared with. */
YOX_C_API yox_status yox_explanation_fact(const yox_explanation* explanation, size_t filter,
                                          size_t criterion, size_t fact,
                                          yox_explained_fact* explained);
/* Frees an explanation. NULL is ignored. */
YOX_C_API void yox_explanation_free(yox_explanation* explanation);

/* ---- roll-outs ---- */

/* What a date function "START|DAYS|GROWTH" or "START|DAYS|GROWTH|SEGMENT" does, day by day. */
typedef struct yox_rollout yox_rollout;
/* A roll-out as a whole. */
typedef struct yox_rollout_info {
  size_t size;
  int32_t days; /* from this day on everybody is in; the first day is 1 */
  int32_t
      by_organisation; /* 1: organisations come in by their realm; 0: devices by serial number */
  int32_t has_known_growth; /* 0: an unknown word, and nobody comes in before the last day */
} yox_rollout_info;
/* YOX_DOCUMENT for a function that never lets anybody in, or that takes more than a hundred years.
 */
YOX_C_API yox_status yox_rollout_read(const char* function, yox_rollout** rollout);
/* Reads the length of a roll-out and whom it counts. */
YOX_C_API yox_status yox_rollout_get(const yox_rollout* rollout, yox_rollout_info* info);
/* How many of the 4096 buckets are in on a day; 0 before day 1. */
YOX_C_API yox_status yox_rollout_buckets_on(const yox_rollout* rollout, int64_t day,
                                            int32_t* buckets);
/* The calendar day of a day of the roll-out, from 1 on. */
YOX_C_API yox_status yox_rollout_date(const yox_rollout* rollout, int64_t day, yox_date* date);
/* The day of the roll-out at a moment in seconds since 1970; 0 before the first. */
YOX_C_API yox_status yox_rollout_day_at(const yox_rollout* rollout, int64_t moment, int64_t* day);
/* The day from which a device or an organisation is in, by its serial number or realm. */
YOX_C_API yox_status yox_rollout_first_day(const yox_rollout* rollout,
                                           const char* serial_number_or_realm, int32_t* day);
/* Frees a roll-out. NULL is ignored. */
YOX_C_API void yox_rollout_free(yox_rollout* rollout);

/* ---- the device that the program runs on ---- */

/* The library at work in this process: the machine record is published, and with `watch` the
 * evaluator keeps applications and tags fresh. There is one for each process: after it was stopped,
 * no other can be started. Decisions on facts, above, do not need it. */
typedef struct yox_runtime yox_runtime;
/* How the library is started. */
typedef struct yox_runtime_options {
  size_t size;
  const char* profile; /* a device profile, the device of which takes this machine's place; NULL:
                          this machine */
  size_t profile_size;
  const char* directory; /* where that device's files are kept; NULL: a temporary directory */
  int32_t watch; /* 1: watches the registry for changes of tags and applications, in threads; a
                    service sets it. 0: nothing is kept fresh, no thread is started */
} yox_runtime_options;
/* Starts the library. Reads the device if there is no cache file, which may take seconds. `options`
 * may be NULL. YOX_STATE if it was called successfully before. Call it before other threads use the
 * library. */
YOX_C_API yox_status yox_runtime_start(const yox_runtime_options* options, yox_runtime** runtime);
/* Signals the stop, waits for the library's threads and for every delivery that runs, and frees the
 * handle. Call it once, after all other calls with this handle have returned, and not from a
 * callback. Subscriptions and watches that were not freed get no further calls, and can still be
 * freed afterwards. */
YOX_C_API void yox_runtime_stop(yox_runtime* runtime);

/* The texts of the machine record by name, such as "serial_number", in their order. */
YOX_C_API yox_status yox_device_record(yox_runtime* runtime, yox_pairs** record);
/* Reads the device again, which may take seconds. No other thread may use the record meanwhile. */
YOX_C_API yox_status yox_device_refresh(yox_runtime* runtime);
/* The facts of the device as they are now; of the registry those that the lists read. */
YOX_C_API yox_status yox_device_facts(yox_runtime* runtime, const yox_list* const* lists,
                                      size_t list_count, yox_facts** facts);
/* Decides a list for the device, with its log lines. The moment is that of the device's clock:
 * `now` of the question is not read. `reason` may be NULL. */
YOX_C_API yox_status yox_device_decide(yox_runtime* runtime, const yox_list* list,
                                       const yox_question* question, int32_t* applies,
                                       yox_string** reason);
/* The same decision as a trace, without log lines. */
YOX_C_API yox_status yox_device_trace(yox_runtime* runtime, const yox_list* list,
                                      const yox_question* question, yox_trace** trace);
/* The same decision explained, without log lines. */
YOX_C_API yox_status yox_device_explain(yox_runtime* runtime, const yox_list* list,
                                        const yox_question* question,
                                        yox_explanation** explanation);

/* ---- tags ---- */

/* The device's tags, in the order in which a filter reads them. */
YOX_C_API yox_status yox_tags_get(yox_runtime* runtime, yox_pairs** tags);
/* Adds tags; one with an empty value is skipped, one of an existing key replaces its value. With
 * `persist` they are also written to the registry. */
YOX_C_API yox_status yox_tags_add(yox_runtime* runtime, const yox_pair* tags, size_t count,
                                  int32_t persist);
/* Builds the list again from the registry and the device. */
YOX_C_API yox_status yox_tags_refresh(yox_runtime* runtime);

/* ---- notifications ---- */

/* An internal notification (docs/notifications.md); the library publishes topic 30, event 307 after
 * the tags have changed. Valid during the callback. */
typedef struct yox_notification {
  size_t size;
  int32_t topic;
  int32_t event;
  yox_text payload;
} yox_notification;
/* Called on a thread of the library's, never twice at a time for one subscription. It may use every
 * function but yox_runtime_stop, and must return within 10 seconds, or records are dropped for it.
 */
typedef void (*yox_notified)(void* context, const yox_notification* notification);

/* A receiver of records, until it is ended or the runtime stops. */
typedef struct yox_subscription yox_subscription;
/* Calls `notified` with every record that is published from now on. With `first` it is called
 * before all others, if that place is free. */
YOX_C_API yox_status yox_bus_subscribe(yox_runtime* runtime, yox_notified notified, void* context,
                                       int32_t first, yox_subscription** subscription);
/* Ends the calls, waits for one that is running (except from within it), and frees the handle. */
YOX_C_API void yox_bus_unsubscribe(yox_subscription* subscription);
/* Publishes a record and returns at once. `sender` may be NULL; it does not receive the record. */
YOX_C_API yox_status yox_bus_publish(yox_runtime* runtime, int32_t topic, int32_t event,
                                     const char* payload, const yox_subscription* sender);
/* The event of the last record of a topic that was delivered; YOX_NOT_FOUND if there was none. */
YOX_C_API yox_status yox_bus_last_event(yox_runtime* runtime, int32_t topic, int32_t* event);

/* ---- registry ---- */

/* Keys are named as in "HKLM\\SOFTWARE\\Contoso"; an empty value name is the key's default value.
 * Failures: YOX_NOT_FOUND, YOX_DENIED, YOX_ARGUMENT for a path that no registry can have,
 * YOX_SYSTEM. */
/* Reads a value: its type by Win32's number, and its bytes. */
YOX_C_API yox_status yox_registry_get(yox_runtime* runtime, const char* key, const char* name,
                                      uint32_t* type, yox_string** bytes);
/* Reads a text, REG_SZ or REG_EXPAND_SZ; a value of another type is YOX_NOT_FOUND. */
YOX_C_API yox_status yox_registry_get_text(yox_runtime* runtime, const char* key, const char* name,
                                           yox_string** text);
/* Reads a number, REG_DWORD or REG_QWORD; a value of another type is YOX_NOT_FOUND. */
YOX_C_API yox_status yox_registry_get_number(yox_runtime* runtime, const char* key,
                                             const char* name, uint64_t* number);
/* Writes the bytes of a value, whose type is Win32's number. The key is created if it is missing.
 */
YOX_C_API yox_status yox_registry_set(yox_runtime* runtime, const char* key, const char* name,
                                      uint32_t type, const void* bytes, size_t size);
/* Writes a text, REG_SZ, in the same way. */
YOX_C_API yox_status yox_registry_set_text(yox_runtime* runtime, const char* key, const char* name,
                                           const char* text);
/* Writes a number, REG_DWORD, in the same way. */
YOX_C_API yox_status yox_registry_set_number(yox_runtime* runtime, const char* key,
                                             const char* name, uint32_t number);
/* Deletes a value, or with `name` NULL the key and everything below it. */
YOX_C_API yox_status yox_registry_delete(yox_runtime* runtime, const char* key, const char* name);
/* The names of the keys directly below a key, each with an empty value. */
YOX_C_API yox_status yox_registry_keys(yox_runtime* runtime, const char* key, yox_pairs** keys);
/* The names of a key's values, with their data as text where they are text, and empty otherwise. */
YOX_C_API yox_status yox_registry_values(yox_runtime* runtime, const char* key, yox_pairs** values);

enum {
  YOX_KEY_CREATED = 0,
  YOX_KEY_DELETED = 1,
  YOX_VALUE_SET = 2,
  YOX_VALUE_DELETED = 3,
  YOX_CHANGES_LOST = 4 /* too many to list: anything may have changed */
};
/* A change of a watched key. Its texts are valid during the call. */
typedef struct yox_registry_change {
  size_t size;
  int32_t action; /* YOX_KEY_CREATED to YOX_CHANGES_LOST */
  yox_text key;   /* below the watched key; empty: that key itself */
  yox_text name;  /* of the value */
} yox_registry_change;
/* Called on one thread at a time. It must not free its own watch. */
typedef void (*yox_registry_changed)(void* context, const yox_registry_change* change);

/* A watch on a key, until it is freed or the runtime stops. */
typedef struct yox_registry_watch yox_registry_watch;
/* Calls `changed` for each change of a key and of what is below it. */
YOX_C_API yox_status yox_registry_watch_key(yox_runtime* runtime, const char* key,
                                            yox_registry_changed changed, void* context,
                                            yox_registry_watch** watch);
/* Ends the calls and waits for one that is running. */
YOX_C_API void yox_registry_watch_free(yox_registry_watch* watch);

#ifdef __cplusplus
}
#endif

#endif /* YOX_C_YOX_H */
