// SPDX-License-Identifier: BSD-2-Clause
//
// library.sqlite: all results of a folder, to be asked questions (docs/formats.md).
#ifndef LUMAGAUGE_QC_LIBRARY_LIBRARY_H
#define LUMAGAUGE_QC_LIBRARY_LIBRARY_H

#include "qc/library/sqlite.h"
#include "qc/report/batch.h"
#include "qc/report/json_text.h"

#include <unordered_map>

namespace lumagauge::qc {

constexpr int LIBRARY_VERSION = 1; ///< of the schema
extern const char *const LIBRARY_SCHEMA, *const LIBRARY_INDICES;

/// By which a file is known to be the one that was read.
struct Stamp {
  std::int64_t bytes = 0, modified = 0, inode = 0; ///< `modified`: nanoseconds since 1970
  bool operator==(const Stamp &) const = default;
};

/// What a plan says of an input.
struct Place {
  std::string path;
  std::optional<int> part;
  bool operator==(const Place &) const = default;
};

struct KnownInput {
  std::int64_t id = 0;
  std::string state; ///< as in the table
  Place place;
  std::optional<Stamp> stamp; ///< of NAME.json or NAME.failure
  std::int64_t csvBytes = 0;
  bool hasFrames = false;
};

/// All changes come to the file together, with commit, or not at all. Members throw LibraryError.
/// Bytes of names and paths that are no UTF-8 are escaped in the file, not here.
class Library {
public:
  /// Opens the file, or makes it, for changes; waits for another process that changes it.
  explicit Library(const std::filesystem::path &path);

  std::unordered_map<std::string, KnownInput> known(); ///< by name

  /// A complete result, `document` without its frames. Throws InputError where a member is missing
  /// or is what no result has; the input is then no longer there. The path is that of `place`, or
  /// where that is empty the one that the result says was given. `id` is that of the input where it
  /// is known.
  void putResult(std::optional<std::int64_t> id, const std::string &name, const Place &place,
                 const Stamp &stamp, const Json &document);
  /// The frames of the input that was put last, from the rows of its NAME.csv. Throws InputError
  /// where they are not the ones that this version writes.
  void putFrames(const std::filesystem::path &csv);
  /// An input without a result, `state` says of which kind.
  void putUnmeasured(std::optional<std::int64_t> id, const std::string &name, const Place &place,
                     const std::string &state, const std::string &reason,
                     const std::optional<Stamp> &stamp);
  void setPlace(std::int64_t id, const Place &place);
  void remove(std::int64_t id);

  std::vector<BatchRow> rows();               ///< of all inputs, by name
  std::vector<std::string> unmeasuredNames(); ///< of all inputs without a complete result
  void commit();

private:
  void open();
  void putInput(std::optional<std::int64_t> id, const std::string &name, const Place &place,
                const Stamp &stamp, const Json &document);
  void putLists(const Json &document);
  void putSummaries(const Json &summaries);

  std::filesystem::path path;
  Database database;
  std::int64_t inputId = 0; ///< of the input that was put last
  std::optional<Statement> deletion, input, unmeasured, placement, summary, event, brokenRule,
      notJudged, decodeError;
};

} // namespace lumagauge::qc

#endif
