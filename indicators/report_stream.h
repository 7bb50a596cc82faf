// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_REPORT_STREAM_H
#define LUMAGAUGE_INDICATORS_REPORT_STREAM_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <deque>

namespace lumagauge {

/// Prints a report on a stream and remembers the first write that failed: why, and the first frame
/// whose row it may have lost. Rows wait in the stream's buffer, so that may be an earlier frame
/// than the one at hand. What is printed after a failure is tried all the same.
class ReportStream {
public:
  /// What a piece of the report belongs to: a frame, by its number, or one of these.
  using Place = std::int64_t;
  static constexpr Place HEAD = -1, END = INT64_MAX;

  explicit ReportStream(const char *nameInMessages) : name(nameInMessages) {}
  /// `stream` stays the caller's. Null is a stream that could not be opened, for the reason in
  /// errno.
  void open(std::FILE *stream);
  bool isOpen() const { return file != nullptr; }
  [[gnu::format(printf, 3, 4)]] void print(Place place, const char *format, ...);
  /// Hands the buffer to the system; to be called once, behind the last print. File systems that
  /// write late (network, quotas) may refuse only now, and nothing tells what they lost.
  void finish();
  /// Says on standard error what was lost, if anything was.
  void reportLoss() const;

private:
  struct Piece {
    Place place;
    off_t end; ///< in bytes from the beginning of the report
  };
  template <class Write> void watch(Write write);
  off_t pending() const; ///< bytes that wait in the buffer

  const char *name;
  std::FILE *file = nullptr;
  int openError = 0;
  std::deque<Piece> undelivered; ///< what the system had not taken wholly at the last look
  off_t printed = 0;             ///< bytes
  int error = 0;                 ///< errno of the first failure
  Place lostFrom = HEAD;
};

/// Where the command's two reports go.
struct Reports {
  ReportStream console{"standard output"};
  ReportStream results{"metricsResultsCSV.csv"};
};

} // namespace lumagauge

#endif
