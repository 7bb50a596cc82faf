// SPDX-License-Identifier: BSD-2-Clause
//
// Runs the program under test, PROGRAM, as a user would, in a folder of the test's own.
#ifndef LUMAGAUGE_TESTS_SUPPORT_COMMAND_H
#define LUMAGAUGE_TESTS_SUPPORT_COMMAND_H

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumagauge::test {

inline std::string readFile(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::filesystem::path &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

struct Outcome {
  int status; ///< 128 + the signal where one ended it
  std::string output, errors;
};

/// A test in an empty folder, in which its commands run and which goes with it.
class CommandTest : public testing::Test {
protected:
  CommandTest() {
    std::string name = std::filesystem::temp_directory_path() / "lumagauge-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("cannot make a folder like " + name);
    folder = name;
  }
  ~CommandTest() override { std::filesystem::remove_all(folder); }

  Outcome shell(const std::string &line) const {
    const std::string text = "cd '" + folder.string() + "' && { " + line + "\n} >.out 2>.err";
    const int status = std::system(text.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            readFile(folder / ".out"), readFile(folder / ".err")};
  }
  Outcome call(const std::string &arguments) const { return shell(PROGRAM " " + arguments); }

  void ffmpeg(const std::string &arguments) const {
    const Outcome made = shell("ffmpeg -v error -nostdin -y " + arguments);
    ASSERT_EQ(made.status, 0) << arguments << '\n' << made.errors;
  }

  /// The fields of a file without quoted ones, the header's line included.
  std::vector<std::vector<std::string>> csv(const std::string &name) const {
    std::vector<std::vector<std::string>> rows;
    std::istringstream text(readFile(folder / name));
    for (std::string line; std::getline(text, line);) {
      std::istringstream fields(line.substr(0, line.find('\r')) + ',');
      rows.emplace_back();
      for (std::string field; std::getline(fields, field, ',');)
        rows.back().push_back(field);
    }
    return rows;
  }

  /// A column of such a file, without the header.
  std::vector<std::string> column(const std::string &name, std::size_t index) const {
    std::vector<std::string> values;
    for (const auto &row : csv(name))
      values.push_back(row.at(index));
    values.erase(values.begin());
    return values;
  }

  std::filesystem::path folder;
};

} // namespace lumagauge::test

#endif
