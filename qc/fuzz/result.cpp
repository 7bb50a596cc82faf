// SPDX-License-Identifier: BSD-2-Clause
//
// NAME.json of whoever wrote it, on its way into a library.
#include "qc/fuzz/memory_file.h"
#include "qc/library/library.h"
#include "qc/library/result_reader.h"
#include "qc/report/part_file.h"
#include "qc/source/source.h"

#include <nlohmann/json.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace lumagauge::qc;
  static Library library(":memory:");
  static ResultReader reader;
  const MemoryFile file(data, size);
  const Json document = reader.read(file.path());
  std::optional<std::int64_t> id;
  for (const auto &[name, input] : library.known())
    id = input.id;
  if (document.is_object())
    try {
      library.putResult(id, "name", {}, {}, document);
      for (const BatchRow &row : library.rows())
        if (row.name != "name")
          std::abort();
    } catch (const InputError &) {
      if (!library.known().empty()) // half of it stayed
        std::abort();
    }
  isPart(file.path());
  return 0;
}
