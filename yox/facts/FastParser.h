#pragma once

#include <memory>
#include <string_view>

namespace yox::facts {

class LineValues;

// A JSON parser that reads most documents much faster than the strict one. Each system has its own.
class FastParser {
 public:
  FastParser();
  ~FastParser();

  // Reads a facts document into `values`, whose texts are then views of the document and of this
  // object. Returns false for a document that it does not take, after which `values` are of no
  // use: the strict parser reads it then, and finds what is wrong with it if anything is. So it
  // takes no document that the strict parser refuses, and finds the same in one that it takes.
  bool Read(std::string_view utf8, LineValues& values);

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace yox::facts
