#pragma once

#include <json/value.h>

namespace yox::notifications {

// Styled text indents each value by its depth, so that a document of a few hundred kilobytes whose
// values nest nearly 1000 deep would become hundreds of megabytes. Throws Json::RuntimeError when
// the indentation of a document comes to more than a mebibyte and to more than 16 characters for
// each value on average.
void RequireBoundedStyledSize(const Json::Value& document);

}  // namespace yox::notifications
