// SPDX-License-Identifier: BSD-2-Clause
//
// Runs a command as a user would, in an empty folder of its own.
#ifndef LUMAGAUGE_TESTS_SUPPORT_COMMAND_H
#define LUMAGAUGE_TESTS_SUPPORT_COMMAND_H

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace lumagauge::test {

inline std::string contents(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

struct Outcome {
  int status; ///< exit status; 128 + signal when killed by one
  std::string out;
  std::string err;
};

/// A folder that is removed with everything in it.
class Folder {
public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "lumagauge-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("cannot make a folder like " + name);
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  /// Runs a line of shell in the folder.
  Outcome run(const std::string &line) const {
    const int raw =
        std::system(("cd '" + path.string() + "' && { " + line + "; } >.stdout 2>.stderr").c_str());
    const int status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    return {status, contents(path / ".stdout"), contents(path / ".stderr")};
  }

  std::filesystem::path path;
};

} // namespace lumagauge::test

#endif
