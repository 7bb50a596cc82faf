// SPDX-License-Identifier: BSD-2-Clause
//
// The files of --output: their names, and how they appear only when they are complete.
#ifndef LUMAGAUGE_QC_REPORT_OUTPUT_H
#define LUMAGAUGE_QC_REPORT_OUTPUT_H

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumagauge::qc {

/// A file that cannot be written; the message names it and says why.
class OutputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A file that is written under another name in the same directory and takes its own, replacing
/// what is there, on commit. Destroyed without one it leaves nothing behind.
class AtomicFile {
public:
  explicit AtomicFile(std::filesystem::path path); ///< throws OutputError
  ~AtomicFile();
  AtomicFile(const AtomicFile &) = delete;
  AtomicFile &operator=(const AtomicFile &) = delete;

  std::ostream &stream() { return file; }
  void commit(); ///< throws OutputError, also for any write that failed before

private:
  std::filesystem::path path, temporary;
  std::ofstream file;
};

/// The NAME of the batch's own file.
constexpr const char *SUMMARY_NAME = "summary";

/// The NAME of each input's NAME.csv and NAME.json, in the order of `inputs`: the file name with
/// its extension, "stdin" for "-". Inputs of one file name, whatever their order, get a hash of
/// their absolute path appended, so that a name never depends on the order and seldom on what else
/// is in the batch. The same path twice gets the same name twice.
std::vector<std::string> outputNames(const std::vector<std::string> &inputs);

} // namespace lumagauge::qc

#endif
