// SPDX-License-Identifier: BSD-2-Clause
#include "qc/measure/cpus.h"

#include <sched.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

/// A hierarchy of control groups as it is mounted.
struct Mount {
  fs::path folder, top; ///< where it is, and the group that is seen there
  bool isUnified;       ///< of version 2
};

/// Whether `list`, separated by commas, names the controller of CPU time.
bool namesCpu(const std::string &list) {
  return ("," + list + ",").find(",cpu,") != std::string::npos;
}

/// Blanks and backslashes stand as \040 in that file.
std::string unescapedMount(const std::string &field) {
  std::string text;
  for (std::size_t i = 0; i < field.size(); ++i)
    if (field[i] == '\\' && i + 3 < field.size()) {
      text += static_cast<char>(std::stoi(field.substr(i + 1, 3), nullptr, 8));
      i += 3;
    } else {
      text += field[i];
    }
  return text;
}

/// Those that can hold a quota, as /proc/self/mountinfo tells them.
std::vector<Mount> quotaMounts(const fs::path &root) {
  std::vector<Mount> mounts;
  std::ifstream file(root / "proc/self/mountinfo");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string skipped, top, folder, type, options;
    words >> skipped >> skipped >> skipped >> top >> folder;
    while (words >> skipped && skipped != "-") {
    }
    words >> type >> skipped >> options;
    if (type == "cgroup2" || (type == "cgroup" && namesCpu(options)))
      mounts.push_back({unescapedMount(folder), unescapedMount(top), type == "cgroup2"});
  }
  return mounts;
}

/// The group of this process in the hierarchy, as /proc/self/cgroup tells it; empty where it has
/// none.
std::string groupIn(const Mount &mount, const fs::path &root) {
  std::ifstream file(root / "proc/self/cgroup");
  for (std::string line; std::getline(file, line);) {
    const std::size_t first = line.find(':'), second = line.find(':', first + 1);
    if (second == std::string::npos)
      continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    if (mount.isUnified ? controllers.empty() : namesCpu(controllers))
      return line.substr(second + 1);
  }
  return "";
}

/// Of one group; "max" and -1 say that there is none.
std::optional<double> quotaOf(const fs::path &group, bool isUnified) {
  double quota = 0, period = 0;
  if (isUnified) {
    std::ifstream(group / "cpu.max") >> quota >> period;
  } else {
    std::ifstream(group / "cpu.cfs_quota_us") >> quota;
    std::ifstream(group / "cpu.cfs_period_us") >> period;
  }
  return quota > 0 && period > 0 ? std::optional(quota / period) : std::nullopt;
}

} // namespace

std::optional<double> quotaCpus(const fs::path &root) {
  std::optional<double> least;
  for (const Mount &mount : quotaMounts(root)) {
    // In a container the path may be one that is not seen there: then the mount is the group.
    fs::path below = fs::path(groupIn(mount, root)).lexically_relative(mount.top);
    if (below.empty() || *below.begin() == "..")
      below = ".";
    const fs::path top = root / mount.folder.relative_path();
    for (fs::path group = (top / below).lexically_normal();; group = group.parent_path()) {
      if (const auto quota = quotaOf(group, mount.isUnified))
        least = std::min(least.value_or(*quota), *quota);
      if (group == top || group.native().size() <= top.native().size())
        break;
    }
  }
  return least;
}

int usableCpus() {
  cpu_set_t set;
  CPU_ZERO(&set);
  int cpus = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  // Fails where the machine has more CPUs than the set has places.
  if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0)
    cpus = CPU_COUNT(&set);
  if (const std::optional<double> quota = quotaCpus())
    cpus = static_cast<int>(std::min<double>(cpus, std::max(1.0, std::ceil(*quota))));
  return cpus;
}

} // namespace lumagauge::qc
