#pragma once

#include "yox/base/Log.h"

// The evaluator's own log, "ApplicabilityEvaluator.log" once it is opened.
extern constinit YOX::Log g_evaluator_log;
