// SPDX-License-Identifier: BSD-2-Clause
//
// Many inputs and many machines: quotas, plans, parts, what is collected of them.
#include "qc/library/plan.h"
#include "qc/measure/cpus.h"
#include "tests/support/command.h"

#include <nlohmann/json.hpp>

#include <sys/resource.h>
#include <unistd.h>

#include <map>
#include <numeric>

namespace lumagauge::qc {
namespace {

using namespace test;
namespace fs = std::filesystem;

class Scale : public CommandTest {
protected:
  static constexpr const char *RAW = " --raw --size 16x16 --quiet ";

  std::map<std::string, std::string> filesIn(const std::string &name) const {
    std::map<std::string, std::string> files;
    for (const auto &entry : fs::directory_iterator(folder / name))
      files[entry.path().filename()] = readFile(entry.path());
    return files;
  }
  std::string ask(const std::string &question) const {
    return shell("sqlite3 -noheader out/library.sqlite \"" + question + "\"").output;
  }
  /// The plan "p" of four inputs of odd names and one that is no video, in two parts.
  void plan() const {
    for (const char *name : {"a.yuv", "b\nb.yuv", "c\xe9 \\x41\".yuv", "sub/a.yuv"}) {
      fs::create_directories((folder / "in" / name).parent_path());
      writeFile(folder / "in" / name, std::string(20 * 384, *name));
    }
    writeFile(folder / "in/none.yuv", "short");
    ASSERT_EQ(call("--plan p --parts 2 --recursive --raw --size 16x16 in").status, 0);
  }
  std::string part(int number) const {
    return "--from-plan p -o out --part " + std::to_string(number) + RAW;
  }
};

TEST_F(Scale, QuotasOfControlGroups) {
  const std::string unified = "31 23 0:28 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n",
                    container = "31 23 0:28 /box /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n",
                    version1 = "30 23 0:27 / /sys/cg\\040s rw shared:9 - cgroup c rw,cpu,cpuacct\n";
  const struct {
    std::string name, mounts, group;
    std::map<std::string, std::string> files;
    std::optional<double> expected;
  } cases[] = {
      {"no groups", "", "0::/\n", {}, std::nullopt},
      {"none", unified, "0::/job\n", {{"sys/fs/cgroup/job/cpu.max", "max 100000"}}, std::nullopt},
      {"own", unified, "0::/job\n", {{"sys/fs/cgroup/job/cpu.max", "150000 100000"}}, 1.5},
      {"the group above has less",
       unified,
       "1:name=systemd:/x\n0::/job/step\n",
       {{"sys/fs/cgroup/job/cpu.max", "50000 100000"},
        {"sys/fs/cgroup/job/step/cpu.max", "300000 100000"}},
       0.5},
      {"container", container, "0::/box/a\n", {{"sys/fs/cgroup/a/cpu.max", "200000 100000"}}, 2},
      {"container that sees other names",
       container,
       "0::/elsewhere\n",
       {{"sys/fs/cgroup/cpu.max", "200000 100000"}},
       2},
      {"version 1",
       version1 + unified,
       "3:cpuset:/\n2:cpuacct,cpu:/job\n0::/\n",
       {{"sys/cg s/job/cpu.cfs_quota_us", "250000"}, {"sys/cg s/job/cpu.cfs_period_us", "100000"}},
       2.5},
      {"version 1 without",
       version1,
       "2:cpu,cpuacct:/\n",
       {{"sys/cg s/cpu.cfs_quota_us", "-1"}, {"sys/cg s/cpu.cfs_period_us", "100000"}},
       std::nullopt}};
  for (const auto &[name, mounts, group, files, expected] : cases) {
    SCOPED_TRACE(name);
    const fs::path root = folder / name;
    fs::create_directories(root / "proc/self");
    writeFile(root / "proc/self/mountinfo", mounts);
    writeFile(root / "proc/self/cgroup", group);
    for (const auto &[file, text] : files) {
      fs::create_directories((root / file).parent_path());
      writeFile(root / file, text + "\n");
    }
    EXPECT_EQ(quotaCpus(root), expected);
  }
}

TEST_F(Scale, PartsCostAboutTheSame) {
  const struct {
    const char *name;
    std::vector<std::int64_t> bytes;
    int parts;
    std::vector<int> expected; ///< the part of each
  } cases[] = {{"equal ones in turn", {9, 9, 9, 9}, 2, {1, 2, 1, 2}},
               {"a long one alone", {1 << 20, 1 << 20, 8 << 20, 1 << 20}, 2, {2, 2, 1, 2}},
               {"many short files cost more than their bytes",
                {1 << 20, 9, 9, 9, 9, 9},
                2,
                {1, 2, 2, 2, 2, 2}},
               {"more parts than inputs", {9}, 3, {1}}};
  for (const auto &[name, bytes, parts, expected] : cases) {
    SCOPED_TRACE(name);
    Plan plan{.parts = parts, .entries = {}};
    for (const std::int64_t size : bytes)
      plan.entries.push_back({.name = "n", .path = "p", .bytes = size});
    deal(plan);
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_EQ(plan.entries[i].part, expected[i]) << i;
  }
  Plan probed{
      .parts = 2, .isProbed = true, .entries = {}}; // a picture of 4 times the size costs so
  for (const std::uint32_t scale : {2U, 1U, 1U, 1U, 1U})
    probed.entries.push_back({.name = "n",
                              .path = "p",
                              .bytes = 9,
                              .probe = Probe{1920 * scale, 1080 * scale, 25, {}, 100'000}});
  deal(probed);
  for (std::size_t i = 0; i < 5; ++i)
    EXPECT_EQ(probed.entries[i].part, i == 0 ? 1 : 2);
}

TEST_F(Scale, BadPlansAndOptionsAreRefused) {
  plan();
  const std::string whole = readFile(folder / "p"), head = whole.substr(0, whole.find('\n') + 1),
                    rest = whole.substr(head.size());
  const auto entry = [](const std::string &name) {
    return R"({"part":1,"name":")" + name + R"(","path":"x"})" + "\n";
  };
  const std::string one = R"({"plan":"lumagauge-plan/1","parts":1,"inputs":1,"cost":"bytes"})"
                          "\n";
  const struct {
    std::string text, arguments, message;
  } cases[] = {
      {head + rest.substr(0, rest.find('\n') + 1), part(1), "it has 1 inputs, its head says 5"},
      {whole.substr(0, whole.size() - 9), part(1), "q: line 6: it is none of a plan: expected a"},
      {std::string(1 << 20, '['), part(1), "q: line 1: it is none of a plan: expected a"},
      {one + R"({"part":1,"name":"x"})", part(1), "line 2: \"path\" is missing; mend it, or write"},
      {one + R"({"part":"1","name":"x","path":"x"})", part(1),
       "\"part\" is \"1\", expected a whole"},
      {one + R"({"part":4294967297,"name":"x","path":"x"})", part(1), "is 4294967297, expected"},
      {one + R"({"part":1,"name":"x","path":"x","bytes":1e99})", part(1), "\"bytes\" is 1e+99"},
      {one + R"({"part":1,"name":7,"path":"x"})", part(1), "\"name\" is 7, expected a text"},
      {one + entry(R"(x\u0000y)"), part(1), "has no zero bytes"},
      {one + entry(R"(x\\x00y)"), part(1), "has no zero bytes"},
      {one + entry(""), part(1), "\"name\" is \"\", expected a text that is not empty"},
      {rest, part(1), "its head is missing"},
      {head + whole, part(1), "line 2: it is a second head"},
      {one + entry("../x"), part(1), "no name of a file"},
      {one + entry("x") + entry("x"), part(1), "\"x\" is there twice"},
      {one + R"({"part":1,"name":"x","path":"x","range":[1,2]})", part(1), "range"},
      {one + R"({"part":1,"name":"x.0-","path":"x","range":[0,18446744073709551615]})", part(1),
       "\"range\" is no [A, B]"},
      {whole, part(3), "--part 3: q has parts 1 to 2"},
      {whole, "--from-plan p -o out", "--part"},
      {whole, part(1) + "in", "--from-plan takes no INPUT"},
      {whole, "--plan q in", "--parts"},
      {whole, "--collect out --plan p --parts 2", "--parts"},
      {whole, "--collect nowhere", "nowhere: No such file"},
      {whole, "--collect in", "in: it holds no results"},
      {whole, "--plan q --parts 2 -", "standard input cannot be in a plan"},
  };
  for (const auto &[text, arguments, message] : cases) {
    SCOPED_TRACE(message);
    writeFile(folder / "q", text);
    std::string line = arguments;
    if (line.starts_with("--from-plan p -o out --part"))
      line.replace(12, 1, "q");
    const Outcome run = call(line);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.errors.find(message), std::string::npos) << run.errors;
    EXPECT_FALSE(fs::exists(folder / "out"));
  }
}

TEST_F(Scale, PartsGiveWhatOneRunGives) {
  plan();
  ASSERT_EQ(shell("sort -o p p; for i in 1 2 1 2; do " PROGRAM " --from-plan p --part $i -o out" +
                  std::string(RAW) + "& done; wait")
                .status,
            0);
  ASSERT_EQ(call(RAW + std::string("-o one --recursive \"$PWD/in\"")).status, 2);
  const auto parts = filesIn("out"), whole = filesIn("one");
  EXPECT_EQ(parts.size() + 1, whole.size()); // summary.csv
  for (const auto &[name, content] : parts) {
    const std::size_t dash = name.rfind('-'), dot = name.rfind('.');
    const bool isShared = name.starts_with("a.yuv"); // has its hash in both
    const std::string other = isShared ? name : name.substr(0, dash) + name.substr(dot);
    ASSERT_TRUE(whole.contains(other)) << name;
    EXPECT_EQ(content, whole.at(other));
  }
}

TEST_F(Scale, CollectingTellsOfAllInputs) {
  plan();
  const struct {
    std::string before;
    int read, missing;
    const char *states, *parts;
  } steps[] = {{PROGRAM " " + part(1), 3, 2, "failed 1, measured 2, missing 2", "1,2"},
               {PROGRAM " " + part(2), 2, 0, "failed 1, measured 4", "1"},
               {"true", 0, 0, "failed 1, measured 4", "1"},
               {"touch out/b*.json; echo '{}' > out/other.json", 1, 0, "failed 1, measured 4", "1"},
               {"rm out/b*.csv", 1, 0, "failed 1, incomplete 1, measured 3", "1,2"},
               {"for f in out/c*.json; do echo { > \"$f\"; done", 2, 0,
                "failed 1, incomplete 2, measured 2", "1,2"},
               {"rm out/none* out/b*", 1, 2, "incomplete 1, measured 2, missing 2", "1,2"},
               {PROGRAM " --resume " + part(1) + "; " PROGRAM " --resume " + part(2), 3, 0,
                "failed 1, measured 4", "1"}};
  const std::string everything =
      "SELECT name, path, part, state, verdict, frames, s.indicator, "
      "s.p95, n.kind FROM inputs LEFT JOIN summaries s ON s.input_id = id "
      "LEFT JOIN not_judged n ON n.input_id = id ORDER BY 1, 7, 9";
  for (const auto &[before, read, missing, states, parts] : steps) {
    SCOPED_TRACE(before);
    shell(before);
    const Outcome run = call("--collect out --plan p");
    EXPECT_EQ(run.status, 2);
    const std::string tail = std::to_string(read) + (read == 1 ? " result" : " results") +
                             " read, 0 gone, " + std::to_string(missing) +
                             " missing\nparts to measure again: " + parts;
    EXPECT_NE(run.output.find(tail), std::string::npos) << run.output << run.errors;
    EXPECT_EQ(ask("SELECT group_concat(s, ', ') FROM (SELECT state || ' ' || count(*) s FROM "
                  "inputs GROUP BY state)"),
              states + std::string("\n"));
    const std::string grown = ask(everything);
    fs::rename(folder / "out/library.sqlite", folder / "grown");
    call("--collect out --plan p"); // what is made anew is what has grown
    EXPECT_EQ(ask(everything), grown);
    fs::rename(folder / "grown", folder / "out/library.sqlite");
  }
  EXPECT_NE(shell("rm out/a.yuv*; " PROGRAM " --collect out").output.find("0 results read, 2 gone"),
            std::string::npos);
  EXPECT_EQ(call("--collect out --library-frames").status, 2);
  EXPECT_EQ(ask("SELECT count(*), sum(shot), typeof(blur), typeof(frame) FROM frames"),
            "40|0|real|integer\n");
  EXPECT_EQ(shell("grep -c . out/summary.csv; sqlite3 out/library.sqlite 'PRAGMA user_version = "
                  "2'; " PROGRAM
                  " --collect out 2>&1 | grep -c 'of schema 2, this version writes 1'")
                .output,
            "6\n1\n"); // the header, and three inputs, one of whose names has a line break
}

TEST_F(Scale, OddResultsDoNotKeepOthersFromBeingCollected) {
  plan();
  call(part(1));
  call(part(2));
  const fs::path changed = folder / "out/d.json";
  std::string good, csv;
  for (const auto &[name, content] : filesIn("out"))
    if (name.starts_with("b"))
      (name.ends_with("json") ? good : csv) = content;
  writeFile(folder / "out/d.csv", csv);
  const std::string deep(200'000, '['), end(200'000, ']');
  const struct {
    std::string from, to, state;
  } cases[] = {{"", "", "measured"},
               {R"("verdict": "warn")", R"("verdict": "wa")", "incomplete"},
               {R"("exit_status": 0)", R"("exit_status": 1e99)", "incomplete"},
               {R"("interrupted": false)", R"("interrupted": 0)", "incomplete"},
               {R"("broken_rules": [)", R"("broken_rules": [7, )", "incomplete"},
               {R"("csv": {)", R"("cvs": {)", "incomplete"},
               {R"("source":)", R"("source":)" + deep + end + R"(,"s":)", "incomplete"},
               {R"("profile": {)", R"("profile": {"x":)" + deep + end + ",", "incomplete"}};
  for (const auto &[from, to, state] : cases) {
    SCOPED_TRACE(to.substr(0, 30));
    std::string document = good;
    ASSERT_NE(document.find(from), std::string::npos);
    document.replace(document.find(from), from.size(), to);
    writeFile(changed, document);
    const Outcome run = call("--collect out");
    EXPECT_EQ(run.status, 2) << run.errors; // for the one that is no video
    EXPECT_EQ(ask("SELECT state FROM inputs WHERE name = 'd'"), state + "\n");
    EXPECT_EQ(ask("SELECT count(*) FROM inputs WHERE state = 'measured' AND name <> 'd'"), "4\n");
  }
}

TEST_F(Scale, TenThousandResultsAreCollectedInSeconds) {
  if (INSTRUMENTED)
    GTEST_SKIP() << "what is measured is time and memory, which sanitizers take";
  plan();
  call(part(2));
  fs::create_directory(folder / "many");
  for (const auto &[name, content] : filesIn("out"))
    if (name.starts_with("b"))
      for (int i = 0; i < 10'000; ++i)
        writeFile(folder / "many" / (std::to_string(i) + name.substr(name.rfind('.'))), content);
  const auto collect = [&](const char *expected, double mostSeconds) {
    rusage used{}; // by this command alone
    const std::string line = "cd '" + folder.string() +
                             "' && exec " PROGRAM " --collect many "
                             "--quiet > .out";
    const pid_t child = fork();
    if (child == 0)
      _exit(execl("/bin/sh", "sh", "-c", line.c_str(), nullptr));
    ASSERT_EQ(wait4(child, nullptr, 0, &used), child);
    const std::string output = readFile(folder / ".out");
    EXPECT_NE(output.find(expected), std::string::npos) << output;
    const timeval &user = used.ru_utime, &system = used.ru_stime; // as other tests run beside it
    EXPECT_LT(static_cast<double>(user.tv_sec + system.tv_sec) +
                  1e-6 * static_cast<double>(user.tv_usec + system.tv_usec),
              mostSeconds);
    EXPECT_LT(used.ru_maxrss, 200 << 10);
  };
  // Killed at any time it leaves a library that is whole.
  shell("for s in 0.05 0.2 0.6 1; do timeout -s KILL $s " PROGRAM " --collect many; done");
  collect("10000 results read", 10);
  shell("touch many/77.json");
  collect("1 result read", 1);
  // Killed while it takes everything in anew it leaves the library that was there.
  const std::string held = "sqlite3 many/library.sqlite 'PRAGMA integrity_check; SELECT count(*), "
                           "sum(result_modified % 1000003) FROM inputs'",
                    before = shell(held).output;
  shell("touch many/*.json");
  for (const char *seconds : {"0.1", "0.3", "0.8"}) {
    EXPECT_EQ(
        shell("timeout -s KILL " + std::string(seconds) + " " PROGRAM " --collect many").status,
        137);
    EXPECT_EQ(shell(held).output, before);
  }
  collect("10000 results read", 10);
  EXPECT_NE(shell(held).output, before);
  EXPECT_EQ(
      shell("sqlite3 many/library.sqlite 'PRAGMA integrity_check; SELECT count(*) FROM inputs "
            "WHERE frames = 20'; grep -c warn many/summary.csv")
          .output,
      "ok\n10000\n10000\n");
}

} // namespace
} // namespace lumagauge::qc
