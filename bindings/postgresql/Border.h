/* The border between the server, whose code is C and leaves functions by longjmp, and the decision,
 * whose code is C++ and leaves functions by exceptions. Nothing crosses it but plain values:
 *
 *   - The C++ side never calls the server: a test looks into its object files. So no longjmp can
 *     pass a frame with a destructor.
 *   - Every function below is noexcept. Those that return bool catch all exceptions and return
 *     false; yox_message_of says why.
 *   - Long functions look at a flag of the server after each filter, return false with
 * YOX_INTERRUPTED and have changed nothing then: the C side sees to the interrupt, and calls again
 * if it is still there.
 *   - The C side owns a yox_call through a memory context: it registers yox_call_free with the
 *     context before it uses the object. Results are views of memory of the yox_call, valid until
 *     the next call; the C side copies them into memory of the server.
 *
 * For one thread, as the server is. */
#ifndef YOX_POSTGRESQL_BORDER_H
#define YOX_POSTGRESQL_BORDER_H

#include <signal.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define YOX_NOEXCEPT noexcept
extern "C" {
#else
#define YOX_NOEXCEPT
#endif

typedef struct yox_call yox_call; /* what one call site of a function keeps from row to row */

typedef struct {
  const char* bytes; /* not terminated; NULL: SQL's NULL */
  size_t size;
} yox_text;

typedef enum {
  YOX_BAD_LIST,  /* the list is no filter document */
  YOX_BAD_FACTS, /* the facts are no facts document; see yox_explain_bad_facts */
  YOX_BAD_VALUE, /* another argument */
  YOX_NO_MEMORY,
  YOX_INTERRUPTED,
  YOX_INTERNAL,
} yox_problem;

yox_call* yox_call_new(void) YOX_NOEXCEPT; /* NULL: out of memory */
void yox_call_free(void* call) YOX_NOEXCEPT;
/* Functions of the call are interrupted when the flag is not 0; NULL: never, as at first. */
void yox_call_interrupt_by(yox_call* call, const volatile sig_atomic_t* flag) YOX_NOEXCEPT;
/* Of the last function that returned false. */
yox_problem yox_problem_of(const yox_call* call) YOX_NOEXCEPT;
yox_text yox_message_of(const yox_call* call) YOX_NOEXCEPT;

/* Chooses the list by the bytes of its datum. False: it is not among the lists that the call site
 * has used last, or yox_call_compile must be called with its text. */
bool yox_call_choose(yox_call* call, const void* bytes, size_t size) YOX_NOEXCEPT;
bool yox_call_compile(yox_call* call, const void* bytes, size_t size,
                      const char* json) YOX_NOEXCEPT;

typedef struct {
  const void* facts; /* a jsonb datum without its length word */
  size_t size;
  int64_t now; /* seconds since 1970 */
  yox_text target_version;
} yox_question;

typedef enum { YOX_DOES_NOT_APPLY, YOX_APPLIES, YOX_UNDETERMINED } yox_truth;

bool yox_applies(yox_call* call, const yox_question* question, yox_truth* applies) YOX_NOEXCEPT;
bool yox_reason(yox_call* call, const yox_question* question, yox_text* reason) YOX_NOEXCEPT;
/* -1: no filter decided. */
bool yox_decided_by(yox_call* call, const yox_question* question, int32_t* filter) YOX_NOEXCEPT;
bool yox_explain_device(yox_call* call, const yox_question* question, yox_text* json) YOX_NOEXCEPT;
/* False, and YOX_BAD_FACTS, for a document that is none. */
bool yox_check_facts(yox_call* call, const char* json) YOX_NOEXCEPT;
/* Replaces the message of YOX_BAD_FACTS by that of the document's reader. */
void yox_explain_bad_facts(yox_call* call, const char* json) YOX_NOEXCEPT;

bool yox_bucket(yox_call* call, yox_text serial_number, int32_t* bucket) YOX_NOEXCEPT;
bool yox_share(yox_call* call, yox_text function, int64_t now, double* share) YOX_NOEXCEPT;

/* Chooses `days` days from `first` on, a day since 1970, for the list that was chosen last. */
bool yox_rollout_choose(yox_call* call, int64_t first, int64_t days,
                        yox_text target_version) YOX_NOEXCEPT;
/* Adds a device to the counts of these days: the number of devices, and two numbers for each day,
 * which are those that the list applies to and the undetermined ones. Of the question the facts
 * count. */
bool yox_rollout_add(yox_call* call, const yox_question* question, int64_t* counts) YOX_NOEXCEPT;

/* Rows of the functions that return tables. */
#define YOX_MOST_COLUMNS 6
typedef enum { YOX_NULL, YOX_INTEGER, YOX_TEXT } yox_cell_kind;
typedef struct {
  yox_cell_kind kind;
  int64_t integer;
  yox_text text;
} yox_cell;

bool yox_criteria(yox_call* call, const yox_question* question) YOX_NOEXCEPT;
bool yox_lint_list(yox_call* call, const char* json, int64_t now) YOX_NOEXCEPT;
/* The next row; false at the end. Fills `columns` cells. */
bool yox_next_row(yox_call* call, yox_cell* cells, size_t columns) YOX_NOEXCEPT;

/* The counts of an aggregate. Each is freed with its memory context, as a yox_call is. */
typedef struct yox_funnel yox_funnel;
yox_funnel* yox_funnel_new(void) YOX_NOEXCEPT;
void yox_funnel_free(void* funnel) YOX_NOEXCEPT;
bool yox_funnel_add(yox_call* call, yox_funnel* funnel, const yox_question* question) YOX_NOEXCEPT;
bool yox_funnel_merge(yox_call* call, yox_funnel* funnel, const yox_funnel* other) YOX_NOEXCEPT;
bool yox_funnel_bytes(yox_call* call, const yox_funnel* funnel, yox_text* bytes) YOX_NOEXCEPT;
bool yox_funnel_merge_bytes(yox_call* call, yox_funnel* funnel, yox_text bytes) YOX_NOEXCEPT;
bool yox_funnel_json(yox_call* call, const yox_funnel* funnel, yox_text* json) YOX_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
