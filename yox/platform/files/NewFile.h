#pragma once

#include <memory>
#include <string_view>

#include "yox/base/WString.h"

namespace yox {

// A file that replaces another one as a whole: it is written under a name of its own, that of the
// other with ".new" appended, and then renamed. A reader finds the former file or the new one,
// whenever this process ends; nothing is flushed to the disk itself. What a process that ended left
// under the name is replaced.
//
// Every failure throws std::runtime_error. One thread, and one process, at a time.
class NewFile {
 public:
  enum class Access {
    kPrivate,   // this account, on Windows also the administrators and the local system
    kPublic,    // every account may read it, on Windows every account that may read the folder
    kAsBefore,  // that of the file which is replaced; private if there is none
  };
  enum class Form { kBinary, kText };  // text: a line break is written as this system's

  // Creates the new file, empty, with its access. Throws if the other one exists and is not a file.
  NewFile(const WString& path, Access access, Form form);
  // Removes the new file unless Commit was called.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Where the new file is until Commit.
  WString path() const { return path_ + operator""_w<".new">(); }

  void Write(std::string_view bytes);
  void Commit();

 private:
  struct State;

  const WString path_;
  const std::unique_ptr<State> state_;
};

}  // namespace yox
