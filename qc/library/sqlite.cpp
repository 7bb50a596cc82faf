// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/sqlite.h"

#include <sqlite3.h>

namespace lumagauge::qc {

namespace {
constexpr int MOST_WAITING_MS = 60'000;
}

void Database::Close::operator()(sqlite3 *opened) const {
  sqlite3_close(opened);
}

Database::Database(const std::filesystem::path &file) : path(file) {
  sqlite3 *opened = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  connection.reset(opened);
  if (code != SQLITE_OK)
    fail();
  sqlite3_extended_result_codes(opened, 1);
  sqlite3_busy_timeout(opened, MOST_WAITING_MS);
}

void Database::fail() const {
  throw LibraryError(path.string() + ": " +
                     (connection ? sqlite3_errmsg(connection.get()) : "there is no memory for it"));
}

void Database::run(const std::string &sql) {
  if (sqlite3_exec(connection.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
    fail();
}

std::int64_t Database::lastId() const {
  return sqlite3_last_insert_rowid(connection.get());
}

void Statement::Finish::operator()(sqlite3_stmt *prepared) const {
  sqlite3_finalize(prepared);
}

Statement::Statement(const Database &opened, const std::string &sql) : database(&opened) {
  sqlite3_stmt *prepared = nullptr;
  const int code = sqlite3_prepare_v2(opened.handle(), sql.c_str(), static_cast<int>(sql.size()),
                                      &prepared, nullptr);
  statement.reset(prepared);
  check(code);
}

void Statement::check(int code) const {
  if (code != SQLITE_OK)
    database->fail();
}

bool Statement::next() {
  const int code = sqlite3_step(statement.get());
  if (code == SQLITE_ROW)
    return true;
  if (code != SQLITE_DONE)
    database->fail();
  return false;
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement.get(), column);
}

double Statement::real(int column) const {
  return sqlite3_column_double(statement.get(), column);
}

std::string Statement::text(int column) const {
  const auto *const bytes = sqlite3_column_text(statement.get(), column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column));
  return bytes == nullptr ? "" : std::string(reinterpret_cast<const char *>(bytes), size);
}

void Statement::reset() {
  sqlite3_reset(statement.get()); // says again what went wrong in the last step
  sqlite3_clear_bindings(statement.get());
}

void Statement::bind(int index, std::int64_t value) {
  check(sqlite3_bind_int64(statement.get(), index, value));
}

void Statement::bind(int index, double value) {
  check(sqlite3_bind_double(statement.get(), index, value));
}

void Statement::bind(int index, const std::string &value) {
  check(sqlite3_bind_text64(statement.get(), index, value.data(), value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8));
}

void Statement::bind(int index, std::nullptr_t) {
  check(sqlite3_bind_null(statement.get(), index));
}

} // namespace lumagauge::qc
