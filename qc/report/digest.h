// SPDX-License-Identifier: BSD-2-Clause
//
// What tells one file's content from another's, for results that are to be used again.
#ifndef LUMAGAUGE_QC_REPORT_DIGEST_H
#define LUMAGAUGE_QC_REPORT_DIGEST_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

struct AVSHA;

namespace lumagauge::qc {

/// SHA-256 of bytes as they come.
class Sha256 {
public:
  Sha256(); ///< throws std::bad_alloc
  void add(const char *bytes, std::size_t count);
  std::string finish(); ///< 64 hexadecimal digits; nothing can be added after it

private:
  struct Free {
    void operator()(AVSHA *state) const;
  };
  std::unique_ptr<AVSHA, Free> state;
};

struct ContentDigest {
  std::int64_t size = 0; ///< bytes
  std::string sha256;    ///< hexadecimal
};

/// Of the whole file; empty where it is no regular file that can be read.
std::optional<ContentDigest> digestOf(const std::filesystem::path &path);

/// What an input is recognised by without reading all of it.
struct FileIdentity {
  ContentDigest ends;   ///< the size of the file and the digest of its first and last 64 KiB
  std::string modified; ///< seconds since 1970 with nine decimals
};

/// Empty where the input is no regular file that can be read.
std::optional<FileIdentity> identityOf(const std::string &input);

} // namespace lumagauge::qc

#endif
