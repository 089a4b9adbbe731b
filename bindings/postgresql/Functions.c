/* The SQL functions of the extension (yox--1.0.sql). This side is C: it alone calls the server, and it
 * calls the decision through Border.h, which says how errors and memory are kept apart. */
#include "postgres.h"

#include "access/xact.h"
#include "catalog/pg_type.h"
#include "fmgr.h"
#include "funcapi.h"
#include "mb/pg_wchar.h"
#include "miscadmin.h"
#include "nodes/primnodes.h"
#include "utils/array.h"
#include "utils/builtins.h"
#include "utils/date.h"
#include "utils/jsonb.h"
#include "utils/timestamp.h"
#include "utils/tuplestore.h"
#if PG_VERSION_NUM >= 160000
#include "varatt.h"
#endif

#include "bindings/postgresql/Border.h"

PG_MODULE_MAGIC;

/* Frees `object` with the memory context. Called before the object is used; on failure nothing is lost,
 * because the callback's memory is there before the object is. */
typedef void (*release_function)(void *object);

static void *owned(MemoryContext context, void *(*make)(void), release_function release)
{
	MemoryContextCallback *callback = MemoryContextAllocZero(context, sizeof *callback);
	void *object = make();

	if (object == NULL)
		ereport(ERROR, (errcode(ERRCODE_OUT_OF_MEMORY), errmsg("out of memory")));
	callback->func = release;
	callback->arg = object;
	MemoryContextRegisterResetCallback(context, callback);
	return object;
}

static void *make_call(void)
{
	return yox_call_new();
}

static void *make_funnel(void)
{
	return yox_funnel_new();
}

/* What this call site keeps: compiled lists, time zones, memory for texts. */
typedef struct
{
	yox_call *call;
	bool has_constant_list; /* and has compiled it */
} call_site;

static call_site *site_of(FunctionCallInfo fcinfo)
{
	FmgrInfo *info = fcinfo->flinfo;

	if (info->fn_extra == NULL)
	{
		call_site *site = MemoryContextAllocZero(info->fn_mcxt, sizeof *site);

		if (GetDatabaseEncoding() != PG_UTF8)
			ereport(ERROR, (errcode(ERRCODE_FEATURE_NOT_SUPPORTED),
							errmsg("yox needs a database whose encoding is UTF8")));
		site->call = owned(info->fn_mcxt, make_call, yox_call_free);
		info->fn_extra = site;
	}
	/* Where interrupts are held off the flag stays set: there nothing is interrupted. */
	yox_call_interrupt_by(((call_site *) info->fn_extra)->call,
						  INTERRUPTS_CAN_BE_PROCESSED() ? &InterruptPending : NULL);
	return info->fn_extra;
}

static yox_call *call_of(FunctionCallInfo fcinfo)
{
	return site_of(fcinfo)->call;
}

/* Not a parameter, which may be another one with the same call site. */
static bool is_constant(FunctionCallInfo fcinfo, int number)
{
	Node *expression = fcinfo->flinfo->fn_expr;
	List *arguments = expression != NULL && IsA(expression, FuncExpr) ? ((FuncExpr *) expression)->args : NIL;

	return number < list_length(arguments) && IsA(list_nth(arguments, number), Const);
}

static char *text_of(Jsonb *json)
{
	return JsonbToCString(NULL, &json->root, VARSIZE(json));
}

/* Raises the error of the last call, or returns after an interrupt, when the function is to be called
 * again. `facts` is the document that it was about, or NULL. */
static void fail(yox_call *call, Jsonb *facts)
{
	static const struct
	{
		int code;
		const char *place;
	} kinds[] = {
		[YOX_BAD_LIST] = {ERRCODE_INVALID_PARAMETER_VALUE, "list: "},
		[YOX_BAD_FACTS] = {ERRCODE_DATA_EXCEPTION, "facts: "},
		[YOX_BAD_VALUE] = {ERRCODE_INVALID_PARAMETER_VALUE, ""},
		[YOX_NO_MEMORY] = {ERRCODE_OUT_OF_MEMORY, "out of memory"},
		[YOX_INTERNAL] = {ERRCODE_INTERNAL_ERROR, "yox: "},
	};
	yox_text message;
	yox_problem problem;

	if (yox_problem_of(call) == YOX_INTERRUPTED)
	{
		CHECK_FOR_INTERRUPTS();
		return;
	}
	if (facts != NULL && yox_problem_of(call) == YOX_BAD_FACTS)
		yox_explain_bad_facts(call, text_of(facts));
	problem = yox_problem_of(call);
	message = yox_message_of(call);
	ereport(ERROR, (errcode(kinds[problem].code),
					errmsg("%s%s", kinds[problem].place, pnstrdup(message.bytes, message.size))));
}

/* Seconds since 1970. */
static int64_t seconds_of(TimestampTz at)
{
	const int64_t epoch = (int64_t) (POSTGRES_EPOCH_JDATE - UNIX_EPOCH_JDATE) * SECS_PER_DAY;
	int64_t seconds;

	if (TIMESTAMP_NOT_FINITE(at))
		ereport(ERROR, (errcode(ERRCODE_DATETIME_VALUE_OUT_OF_RANGE),
						errmsg("at: expected a time, found infinity")));
	seconds = at / USECS_PER_SEC;
	if (at % USECS_PER_SEC < 0)
		seconds--;
	return seconds + epoch;
}

static yox_text text_argument(FunctionCallInfo fcinfo, int number)
{
	yox_text result = {NULL, 0};

	if (number < PG_NARGS() && !PG_ARGISNULL(number))
	{
		text *value = PG_GETARG_TEXT_PP(number);

		result.bytes = VARDATA_ANY(value);
		result.size = VARSIZE_ANY_EXHDR(value);
	}
	return result;
}

/* The arguments list, facts [, at, target_version] from number `first` on. */
typedef struct
{
	yox_call *call;
	Jsonb *facts;
	yox_question question;
} asking;

static void choose_list(yox_call *call, Jsonb *list)
{
	const char *bytes = VARDATA(list);
	const size_t size = VARSIZE(list) - VARHDRSZ;

	if (yox_call_choose(call, bytes, size))
		return;
	CHECK_FOR_INTERRUPTS();
	while (!yox_call_compile(call, bytes, size, text_of(list)))
		fail(call, NULL);
}

/* False when one of list, facts and at is NULL. */
static bool ask(FunctionCallInfo fcinfo, int first, asking *result)
{
	const int last = Min(PG_NARGS(), first + 3);
	call_site *site;

	for (int i = first; i < last; i++)
		if (PG_ARGISNULL(i))
			return false;

	site = site_of(fcinfo);
	result->call = site->call;
	if (!site->has_constant_list)
	{
		choose_list(site->call, PG_GETARG_JSONB_P(first));
		site->has_constant_list = is_constant(fcinfo, first);
	}
	result->facts = PG_GETARG_JSONB_P(first + 1);
	result->question.facts = VARDATA(result->facts);
	result->question.size = VARSIZE(result->facts) - VARHDRSZ;
	result->question.now = seconds_of(last > first + 2 ? PG_GETARG_TIMESTAMPTZ(first + 2)
													   : GetCurrentTransactionStartTimestamp());
	result->question.target_version = text_argument(fcinfo, first + 3);
	return true;
}

static Datum text_datum(yox_text value)
{
	return PointerGetDatum(cstring_to_text_with_len(value.bytes, value.size));
}

static Datum jsonb_datum(yox_text json)
{
	return DirectFunctionCall1(jsonb_in, CStringGetDatum(pnstrdup(json.bytes, json.size)));
}

PG_FUNCTION_INFO_V1(yox_pg_applies);
Datum yox_pg_applies(PG_FUNCTION_ARGS)
{
	asking asked;
	yox_truth applies;

	if (!ask(fcinfo, 0, &asked))
		PG_RETURN_NULL();
	while (!yox_applies(asked.call, &asked.question, &applies))
		fail(asked.call, asked.facts);
	if (applies == YOX_UNDETERMINED)
		PG_RETURN_NULL();
	PG_RETURN_BOOL(applies == YOX_APPLIES);
}

PG_FUNCTION_INFO_V1(yox_pg_reason);
Datum yox_pg_reason(PG_FUNCTION_ARGS)
{
	asking asked;
	yox_text reason;

	if (!ask(fcinfo, 0, &asked))
		PG_RETURN_NULL();
	while (!yox_reason(asked.call, &asked.question, &reason))
		fail(asked.call, asked.facts);
	if (reason.bytes == NULL)
		PG_RETURN_NULL();
	return text_datum(reason);
}

PG_FUNCTION_INFO_V1(yox_pg_decided_by);
Datum yox_pg_decided_by(PG_FUNCTION_ARGS)
{
	asking asked;
	int32_t filter;

	if (!ask(fcinfo, 0, &asked))
		PG_RETURN_NULL();
	while (!yox_decided_by(asked.call, &asked.question, &filter))
		fail(asked.call, asked.facts);
	if (filter < 0)
		PG_RETURN_NULL();
	PG_RETURN_INT32(filter);
}

PG_FUNCTION_INFO_V1(yox_pg_explain);
Datum yox_pg_explain(PG_FUNCTION_ARGS)
{
	asking asked;
	yox_text json;

	if (!ask(fcinfo, 0, &asked))
		PG_RETURN_NULL();
	while (!yox_explain_device(asked.call, &asked.question, &json))
		fail(asked.call, asked.facts);
	return jsonb_datum(json);
}

/* NULL for a facts document, else what is wrong with it: for CHECK constraints. */
PG_FUNCTION_INFO_V1(yox_pg_facts_problem);
Datum yox_pg_facts_problem(PG_FUNCTION_ARGS)
{
	yox_call *call = call_of(fcinfo);
	yox_text message;

	if (yox_check_facts(call, text_of(PG_GETARG_JSONB_P(0))))
		PG_RETURN_NULL();
	if (yox_problem_of(call) != YOX_BAD_FACTS)
		fail(call, NULL);
	message = yox_message_of(call);
	return text_datum(message);
}

PG_FUNCTION_INFO_V1(yox_pg_bucket);
Datum yox_pg_bucket(PG_FUNCTION_ARGS)
{
	yox_call *call = call_of(fcinfo);
	int32_t bucket;

	while (!yox_bucket(call, text_argument(fcinfo, 0), &bucket))
		fail(call, NULL);
	PG_RETURN_INT32(bucket);
}

PG_FUNCTION_INFO_V1(yox_pg_share);
Datum yox_pg_share(PG_FUNCTION_ARGS)
{
	yox_call *call = call_of(fcinfo);
	double share;

	while (!yox_share(call, text_argument(fcinfo, 0), seconds_of(PG_GETARG_TIMESTAMPTZ(1)), &share))
		fail(call, NULL);
	PG_RETURN_FLOAT8(share);
}

static void put_rows(FunctionCallInfo fcinfo, yox_call *call)
{
	ReturnSetInfo *result = (ReturnSetInfo *) fcinfo->resultinfo;
	const int columns = result->setDesc->natts;
	yox_cell cells[YOX_MOST_COLUMNS];

	while (yox_next_row(call, cells, columns))
	{
		Datum values[YOX_MOST_COLUMNS] = {0};
		bool nulls[YOX_MOST_COLUMNS] = {false};

		CHECK_FOR_INTERRUPTS();
		for (int i = 0; i < columns; i++)
		{
			nulls[i] = cells[i].kind == YOX_NULL;
			if (cells[i].kind == YOX_INTEGER)
				values[i] = Int32GetDatum((int32) cells[i].integer);
			else if (cells[i].kind == YOX_TEXT)
				values[i] = text_datum(cells[i].text);
		}
		tuplestore_putvalues(result->setResult, result->setDesc, values, nulls);
	}
}

PG_FUNCTION_INFO_V1(yox_pg_criteria);
Datum yox_pg_criteria(PG_FUNCTION_ARGS)
{
	asking asked;

	InitMaterializedSRF(fcinfo, 0);
	if (!ask(fcinfo, 0, &asked))
		return (Datum) 0;
	while (!yox_criteria(asked.call, &asked.question))
		fail(asked.call, asked.facts);
	put_rows(fcinfo, asked.call);
	return (Datum) 0;
}

PG_FUNCTION_INFO_V1(yox_pg_lint);
Datum yox_pg_lint(PG_FUNCTION_ARGS)
{
	yox_call *call = call_of(fcinfo);

	InitMaterializedSRF(fcinfo, 0);
	while (!yox_lint_list(call, text_of(PG_GETARG_JSONB_P(0)), seconds_of(PG_GETARG_TIMESTAMPTZ(1))))
		fail(call, NULL);
	put_rows(fcinfo, call);
	return (Datum) 0;
}

/* The aggregates. Their state is a yox_funnel in the aggregate's memory context. */

static MemoryContext context_of_aggregate(FunctionCallInfo fcinfo)
{
	MemoryContext context;

	if (!AggCheckCallContext(fcinfo, &context))
		ereport(ERROR, (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
						errmsg("the function is part of an aggregate and cannot be called alone")));
	return context;
}

static yox_funnel *state_of(FunctionCallInfo fcinfo, int number)
{
	return PG_ARGISNULL(number) ? NULL : (yox_funnel *) PG_GETARG_POINTER(number);
}

static yox_funnel *new_state(MemoryContext context)
{
	return owned(context, make_funnel, yox_funnel_free);
}

static Datum state_datum(FunctionCallInfo fcinfo, yox_funnel *state)
{
	if (state == NULL)
		PG_RETURN_NULL();
	PG_RETURN_POINTER(state);
}

PG_FUNCTION_INFO_V1(yox_pg_funnel_add);
Datum yox_pg_funnel_add(PG_FUNCTION_ARGS)
{
	MemoryContext context = context_of_aggregate(fcinfo);
	yox_funnel *state = state_of(fcinfo, 0);
	asking asked;

	if (!ask(fcinfo, 1, &asked))
		return state_datum(fcinfo, state);
	if (state == NULL)
		state = new_state(context);
	while (!yox_funnel_add(asked.call, state, &asked.question))
		fail(asked.call, asked.facts);
	PG_RETURN_POINTER(state);
}

PG_FUNCTION_INFO_V1(yox_pg_funnel_combine);
Datum yox_pg_funnel_combine(PG_FUNCTION_ARGS)
{
	MemoryContext context = context_of_aggregate(fcinfo);
	yox_funnel *state = state_of(fcinfo, 0);
	yox_funnel *other = state_of(fcinfo, 1);
	yox_call *call = call_of(fcinfo);

	if (other == NULL)
		return state_datum(fcinfo, state);
	if (state == NULL)
		state = new_state(context);
	while (!yox_funnel_merge(call, state, other))
		fail(call, NULL);
	PG_RETURN_POINTER(state);
}

static bytea *bytes_of(yox_call *call, yox_funnel *state)
{
	yox_text bytes;
	bytea *result;

	while (!yox_funnel_bytes(call, state, &bytes))
		fail(call, NULL);
	result = palloc(VARHDRSZ + bytes.size);
	SET_VARSIZE(result, VARHDRSZ + bytes.size);
	memcpy(VARDATA(result), bytes.bytes, bytes.size);
	return result;
}

/* Both the serial function and the final function of funnel_part. */
PG_FUNCTION_INFO_V1(yox_pg_funnel_bytes);
Datum yox_pg_funnel_bytes(PG_FUNCTION_ARGS)
{
	yox_funnel *state = state_of(fcinfo, 0);

	context_of_aggregate(fcinfo);
	if (state == NULL)
		PG_RETURN_NULL();
	PG_RETURN_BYTEA_P(bytes_of(call_of(fcinfo), state));
}

static void merge_bytes(yox_call *call, yox_funnel *state, bytea *bytes)
{
	yox_text view = {VARDATA_ANY(bytes), VARSIZE_ANY_EXHDR(bytes)};

	while (!yox_funnel_merge_bytes(call, state, view))
		fail(call, NULL);
}

PG_FUNCTION_INFO_V1(yox_pg_funnel_from_bytes);
Datum yox_pg_funnel_from_bytes(PG_FUNCTION_ARGS)
{
	yox_funnel *state;

	context_of_aggregate(fcinfo);
	state = new_state(CurrentMemoryContext);
	merge_bytes(call_of(fcinfo), state, PG_GETARG_BYTEA_PP(0));
	PG_RETURN_POINTER(state);
}

PG_FUNCTION_INFO_V1(yox_pg_funnel_add_part);
Datum yox_pg_funnel_add_part(PG_FUNCTION_ARGS)
{
	MemoryContext context = context_of_aggregate(fcinfo);
	yox_funnel *state = state_of(fcinfo, 0);

	if (PG_ARGISNULL(1))
		return state_datum(fcinfo, state);
	if (state == NULL)
		state = new_state(context);
	merge_bytes(call_of(fcinfo), state, PG_GETARG_BYTEA_PP(1));
	PG_RETURN_POINTER(state);
}

PG_FUNCTION_INFO_V1(yox_pg_funnel_json);
Datum yox_pg_funnel_json(PG_FUNCTION_ARGS)
{
	yox_call *call = call_of(fcinfo);
	yox_funnel *state = state_of(fcinfo, 0);
	yox_text json;

	context_of_aggregate(fcinfo);
	if (state == NULL) /* no device */
		state = new_state(CurrentMemoryContext);
	while (!yox_funnel_json(call, state, &json))
		fail(call, NULL);
	return jsonb_datum(json);
}

/* The counts of a roll-out: a plain array, which the server itself copies, sends and stores. */

static ArrayType *new_counts(int size)
{
	const Size bytes = ARR_OVERHEAD_NONULLS(1) + size * sizeof(int64);
	ArrayType *counts = palloc0(bytes);

	SET_VARSIZE(counts, bytes);
	counts->ndim = 1;
	counts->elemtype = INT8OID;
	ARR_DIMS(counts)[0] = size;
	ARR_LBOUND(counts)[0] = 1;
	return counts;
}

static int size_of(ArrayType *counts)
{
	if (ARR_NDIM(counts) != 1 || ARR_HASNULL(counts) || ARR_ELEMTYPE(counts) != INT8OID)
		ereport(ERROR, (errcode(ERRCODE_INVALID_PARAMETER_VALUE), errmsg("counts: not those of a roll-out")));
	return ARR_DIMS(counts)[0];
}

static void require_days(ArrayType *counts, int size)
{
	if (size_of(counts) != size)
		ereport(ERROR, (errcode(ERRCODE_INVALID_PARAMETER_VALUE),
						errmsg("last: the number of days differs within the group")));
}

/* Of the arguments first and last, which are the third and fourth after the state. */
static int64 days_of(FunctionCallInfo fcinfo)
{
	enum { most_days = 36525 };
	const DateADT first = PG_GETARG_DATEADT(3);
	const DateADT last = PG_GETARG_DATEADT(4);
	const int64 days = (int64) last - first + 1;

	if (DATE_NOT_FINITE(first) || DATE_NOT_FINITE(last))
		ereport(ERROR, (errcode(ERRCODE_DATETIME_VALUE_OUT_OF_RANGE),
						errmsg("first, last: expected a day, found infinity")));
	if (days < 1 || days > most_days)
		ereport(ERROR, (errcode(ERRCODE_INVALID_PARAMETER_VALUE),
						errmsg("last: expected one of the %d days from the first on", (int) most_days)));
	return days;
}

PG_FUNCTION_INFO_V1(yox_pg_rollout_add);
Datum yox_pg_rollout_add(PG_FUNCTION_ARGS)
{
	ArrayType *state = PG_ARGISNULL(0) ? NULL : PG_GETARG_ARRAYTYPE_P(0);
	call_site *site;
	Jsonb *facts;
	yox_question question = {0};
	int64 days;

	context_of_aggregate(fcinfo);
	for (int i = 1; i <= 4; i++)
	{
		if (!PG_ARGISNULL(i))
			continue;
		if (state == NULL)
			PG_RETURN_NULL();
		PG_RETURN_ARRAYTYPE_P(state);
	}
	days = days_of(fcinfo);
	site = site_of(fcinfo);
	if (!site->has_constant_list)
	{
		choose_list(site->call, PG_GETARG_JSONB_P(1));
		site->has_constant_list = is_constant(fcinfo, 1);
	}
	while (!yox_rollout_choose(site->call, PG_GETARG_DATEADT(3) + POSTGRES_EPOCH_JDATE - UNIX_EPOCH_JDATE, days,
							text_argument(fcinfo, 5)))
		fail(site->call, NULL);
	if (state == NULL)
		state = new_counts(1 + 2 * days);
	require_days(state, 1 + 2 * days);
	facts = PG_GETARG_JSONB_P(2);
	question.facts = VARDATA(facts);
	question.size = VARSIZE(facts) - VARHDRSZ;
	while (!yox_rollout_add(site->call, &question, (int64_t *) ARR_DATA_PTR(state)))
		fail(site->call, facts);
	PG_RETURN_ARRAYTYPE_P(state);
}

PG_FUNCTION_INFO_V1(yox_pg_rollout_combine);
Datum yox_pg_rollout_combine(PG_FUNCTION_ARGS)
{
	ArrayType *state;
	ArrayType *other;
	int size;

	context_of_aggregate(fcinfo);
	if (PG_ARGISNULL(0) && PG_ARGISNULL(1))
		PG_RETURN_NULL();
	if (PG_ARGISNULL(0) || PG_ARGISNULL(1))
		PG_RETURN_DATUM(PG_GETARG_DATUM(PG_ARGISNULL(0) ? 1 : 0));
	state = PG_GETARG_ARRAYTYPE_P(0);
	other = PG_GETARG_ARRAYTYPE_P(1);
	size = size_of(other);
	require_days(state, size);
	for (int i = 0; i < size; i++)
		((int64 *) ARR_DATA_PTR(state))[i] += ((int64 *) ARR_DATA_PTR(other))[i];
	PG_RETURN_ARRAYTYPE_P(state);
}
