// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/digest.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <new>

namespace lumagauge::qc {

namespace {

constexpr std::int64_t END_BYTES = 1 << 16;

/// From `first` up to `end`; false where they cannot be read.
bool addRange(Sha256 &digest, std::ifstream &file, std::int64_t first, std::int64_t end) {
  std::array<char, END_BYTES> bytes;
  file.seekg(first);
  while (file && first < end) {
    const std::int64_t wanted = std::min(end - first, END_BYTES);
    file.read(bytes.data(), wanted);
    digest.add(bytes.data(), static_cast<std::size_t>(file.gcount()));
    first += wanted;
  }
  return static_cast<bool>(file);
}

} // namespace

void Sha256::Free::operator()(AVSHA *allocated) const {
  av_free(allocated);
}

Sha256::Sha256() : state(av_sha_alloc()) {
  if (!state)
    throw std::bad_alloc();
  av_sha_init(state.get(), 256);
}

void Sha256::add(const char *bytes, std::size_t count) {
  av_sha_update(state.get(), reinterpret_cast<const std::uint8_t *>(bytes), count);
}

std::string Sha256::finish() {
  std::array<std::uint8_t, 32> digest;
  av_sha_final(state.get(), digest.data());
  std::string text;
  for (const std::uint8_t byte : digest)
    text += fmt::format("{:02x}", byte);
  return text;
}

std::optional<ContentDigest> digestOf(const std::filesystem::path &path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) // opening a pipe would wait
    return std::nullopt;
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path, error));
  std::ifstream file(path, std::ios::binary);
  Sha256 digest;
  if (error || !addRange(digest, file, 0, size))
    return std::nullopt;
  return ContentDigest{size, digest.finish()};
}

std::optional<FileIdentity> identityOf(const std::string &input) {
  struct stat status {};
  if (input == "-" || stat(input.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  std::ifstream file(input, std::ios::binary);
  Sha256 digest;
  const std::int64_t size = status.st_size;
  if (!addRange(digest, file, 0, std::min(size, END_BYTES)) ||
      !addRange(digest, file, std::max(size - END_BYTES, std::int64_t{0}), size))
    return std::nullopt;
  return FileIdentity{{size, digest.finish()},
                      fmt::format("{}.{:09}", status.st_mtim.tv_sec, status.st_mtim.tv_nsec)};
}

} // namespace lumagauge::qc
