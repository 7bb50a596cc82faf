// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/atomic_file.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <random>

namespace lumagauge::qc {

namespace fs = std::filesystem;

namespace {

constexpr mode_t MODE = 0666; ///< less what the umask takes

std::string temporaryName() {
  std::array<char, HOST_NAME_MAX + 1> host{};
  gethostname(host.data(), host.size() - 1);
  std::replace(host.begin(), host.end(), '/', '_');
  std::random_device random;
  return fmt::format("lumagauge-{}-{}-{:08x}{:08x}.part", host.data(), getpid(), random(),
                     random());
}

/// By which a file without a name can get one.
std::string processPath(int descriptor) {
  return fmt::format("/proc/self/fd/{}", descriptor);
}

/// -1 with EOPNOTSUPP where there are no files without a name, or no way to name them later.
int openUnnamed(const fs::path &folder) {
  const int descriptor = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, MODE);
  if (descriptor >= 0 && access(processPath(descriptor).c_str(), F_OK) == 0)
    return descriptor;
  if (descriptor >= 0)
    close(descriptor);
  else if (errno != EISDIR && errno != EINVAL) // so say kernels and file systems without them
    return -1;
  errno = EOPNOTSUPP;
  return -1;
}

/// Some file systems cannot be waited for.
bool isSynced(int descriptor) {
  return fsync(descriptor) == 0 || errno == EINVAL;
}

} // namespace

DigestingBuffer::int_type DigestingBuffer::overflow(int_type c) {
  if (sync() != 0)
    return traits_type::eof();
  if (!traits_type::eq_int_type(c, traits_type::eof()))
    sputc(traits_type::to_char_type(c));
  return traits_type::not_eof(c);
}

int DigestingBuffer::sync() {
  for (const char *next = pbase(); failure == 0 && next < pptr();) {
    const ssize_t count = write(descriptor, next, static_cast<std::size_t>(pptr() - next));
    if (count < 0 && errno != EINTR)
      failure = errno;
    if (count < 0)
      continue;
    digest.add(next, static_cast<std::size_t>(count));
    size += count;
    next += count;
  }
  setp(bytes.data(), bytes.data() + bytes.size());
  return failure == 0 ? 0 : -1;
}

AtomicFile::AtomicFile(fs::path target)
    : path(std::move(target)), folder(path.has_parent_path() ? path.parent_path() : "."),
      output(&buffer) {
  struct stat status {};
  const bool isThere = lstat(path.c_str(), &status) == 0;
  if (isThere ? S_ISDIR(status.st_mode) : errno != ENOENT)
    fail("cannot be written", isThere ? EISDIR : errno);
  buffer.descriptor = openUnnamed(folder);
  if (buffer.descriptor < 0 && errno == EOPNOTSUPP) {
    const fs::path name = folder / temporaryName();
    buffer.descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, MODE);
    if (buffer.descriptor >= 0)
      temporary = name;
  }
  if (buffer.descriptor < 0)
    fail("cannot be written", errno);
}

AtomicFile::~AtomicFile() {
  closeDescriptor(); // here there is nobody left to tell what fails
  if (!temporary.empty())
    unlink(temporary.c_str());
}

void AtomicFile::fail(const char *what, int error) const {
  throw OutputError(fmt::format("{}: {}: {}", path.string(), what, std::strerror(error)));
}

void AtomicFile::closeDescriptor() {
  if (buffer.descriptor >= 0)
    close(buffer.descriptor);
  buffer.descriptor = -1;
}

void AtomicFile::check() const {
  if (buffer.failure != 0)
    fail("writing failed", buffer.failure);
}

ContentDigest AtomicFile::seal(bool lasts) {
  output.flush();
  check();
  if (lasts && !isSynced(buffer.descriptor))
    fail("writing failed", errno);
  return {buffer.size, buffer.digest.finish()};
}

void AtomicFile::commit() {
  if (temporary.empty()) {
    // A link replaces nothing, so the file's own name can only come by renaming; right before it,
    // for a process killed between the two leaves the other name behind.
    const fs::path name = folder / temporaryName();
    if (linkat(AT_FDCWD, processPath(buffer.descriptor).c_str(), AT_FDCWD, name.c_str(),
               AT_SYMLINK_FOLLOW) != 0)
      fail("cannot be put in place", errno);
    temporary = name;
  }
  closeDescriptor(); // after fsync it has nothing left to report
  if (std::rename(temporary.c_str(), path.c_str()) != 0)
    fail("cannot be put in place", errno);
  temporary.clear();
}

OpenFolder::OpenFolder(fs::path folder)
    : path(std::move(folder)), descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor < 0 && errno != EACCES)
    throw OutputError(fmt::format("{}: cannot be opened: {}", path.string(), std::strerror(errno)));
}

OpenFolder::~OpenFolder() {
  if (descriptor >= 0)
    close(descriptor);
}

void OpenFolder::lock() {
  if (descriptor >= 0)
    flock(descriptor, LOCK_EX); // not everywhere are there locks
}

void OpenFolder::sync() {
  if (descriptor >= 0 && !isSynced(descriptor))
    throw OutputError(fmt::format("{}: its new files may be lost if the machine stops now: {}",
                                  path.string(), std::strerror(errno)));
}

} // namespace lumagauge::qc
