// SPDX-License-Identifier: BSD-2-Clause
//
// SQLite as C++ has it: what opens closes, what fails throws.
#ifndef LUMAGAUGE_QC_LIBRARY_SQLITE_H
#define LUMAGAUGE_QC_LIBRARY_SQLITE_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace lumagauge::qc {

/// A library that cannot be read or written; the message names its file and says why.
class LibraryError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Database {
public:
  /// Opens the file or makes it. What another process does in it is waited for, a minute at most.
  explicit Database(const std::filesystem::path &path);

  void run(const std::string &sql); ///< statements of which no rows are wanted
  [[noreturn]] void fail() const;   ///< throws what went wrong last
  sqlite3 *handle() const { return connection.get(); }
  std::int64_t lastId() const; ///< of the row that was inserted last

private:
  struct Close {
    void operator()(sqlite3 *connection) const;
  };
  std::filesystem::path path;
  std::unique_ptr<sqlite3, Close> connection;
};

/// A prepared statement. The database must outlive it.
class Statement {
public:
  Statement(const Database &database, const std::string &sql);

  /// Runs it with these values for its parameters, to the first row; false where there is none.
  template <class... Values> bool operator()(const Values &...values) {
    reset();
    int index = 0;
    (bind(++index, values), ...);
    return next();
  }
  bool next(); ///< to the next row; false at the end

  bool isNull(int column) const;
  std::int64_t integer(int column) const; ///< 0 where there is no value
  double real(int column) const;          ///< likewise
  std::string text(int column) const;     ///< empty where there is no value

  void reset(); ///< lets go of what is being read, and of the values
  void bind(int index, std::int64_t value);
  void bind(int index, int value) { bind(index, std::int64_t{value}); }
  void bind(int index, bool value) { bind(index, std::int64_t{value}); }
  void bind(int index, double value); ///< NaN as NULL, as SQLite has no such number
  void bind(int index, const std::string &value);
  void bind(int index, std::nullptr_t); ///< NULL
  template <class T> void bind(int index, const std::optional<T> &value) {
    value ? bind(index, *value) : bind(index, nullptr);
  }

private:
  void check(int code) const;

  struct Finish {
    void operator()(sqlite3_stmt *statement) const;
  };
  const Database *database;
  std::unique_ptr<sqlite3_stmt, Finish> statement;
};

} // namespace lumagauge::qc

#endif
