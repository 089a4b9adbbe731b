#pragma once

// Names that a host has of its own, in the global namespace, before it includes the library. The
// library takes there only the names of its specified interface, so each of these compiles beside
// every header.

// Those of windows.h, which some hosts define for code that is shared between the systems.
using BOOL = int;
using BYTE = unsigned char;
using DWORD = unsigned long;
using HANDLE = void*;
using LONG = long;
using UINT = unsigned int;
using WORD = unsigned short;

// Those that a program about devices and filter lists is likely to have.
struct Candidate;
struct Clock;
struct CompiledList;
struct Criterion;
struct CriterionResult;
struct DecisionFlip;
struct DecisionTrace;
struct Device;
struct DeviceFacts;
struct DeviceProfile;
struct Document;
struct Event;
struct ExplainedCriterion;
struct ExplainedFact;
struct ExplainedFilter;
struct Explanation;
struct Forecast;
struct LintFinding;
struct LintRule;
struct LintRuleRow;
struct ListTest;
struct Mutex;
struct Platform;
struct Registry;
struct RolloutForecast;
struct Rung;
struct Semaphore;
struct SimulatedDevice;
struct String;
struct TaskPool;
struct TimeZone;
struct Verdict;
enum class Answer { Yes, No };
enum class Duration { Short, Long };
enum class FlippedBy { Nobody };
enum class LintSeverity { Low, High };
enum class Outcome { Good, Bad };
int Decide(int);
int Explain(int);
int Lint(int);
int LintDocument(int);
int MessageOf(int);
int ReadFilterDocument(int);
int RowOf(int);
int WriteFilterDocument(int);
constexpr int kFilterFieldCount = 1;
constexpr int kFilterFieldNames = 2;
constexpr int kLintRules = 3;
