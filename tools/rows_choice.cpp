// SPDX-License-Identifier: BSD-2-Clause
//
// Which form of the row operations is used.
#include "tools/rows.h"

#ifdef LUMAGAUGE_HAS_HIGHWAY
#include "tools/rows_simd.h"
#endif

#include <atomic>

namespace lumagauge {

namespace {

struct Form {
  const char *name;
  const RowOperations *operations; ///< null where this build lacks the form
  bool supported;
};

/// All forms of this architecture, the plain one first and then from best to least.
std::vector<Form> allForms() {
  std::vector<Form> forms{{plainRows().form, &plainRows(), true}};
#ifdef LUMAGAUGE_HAS_HIGHWAY
  for (const VectorForm &form : vectorForms())
    forms.push_back({form.name, form.operations, form.supported});
#endif
  return forms;
}

/// Null until the first use. Not a static of a function: its guard would keep threads waiting while
/// one chooses, for ever under the thread sanitizer of g++ 12 where choosing ends in an exception.
std::atomic<const RowOperations *> formInUse = nullptr;

} // namespace

const RowOperations &rows() {
  const RowOperations *form = formInUse.load();
  if (form == nullptr) {
    const std::vector<const RowOperations *> forms = availableRows();
    const RowOperations *best = forms.size() > 1 ? forms[1] : forms[0];
    // Another thread may have been first.
    form = formInUse.compare_exchange_strong(form, best) ? best : form;
  }
  return *form;
}

std::vector<const RowOperations *> availableRows() {
  std::vector<const RowOperations *> available;
  for (const Form &form : allForms())
    if (form.supported && form.operations != nullptr)
      available.push_back(form.operations);
  return available;
}

std::vector<std::string_view> knownForms() {
  std::vector<std::string_view> names;
  for (const Form &form : allForms())
    names.emplace_back(form.name);
  return names;
}

bool useRows(std::string_view form) {
  for (const RowOperations *candidate : availableRows())
    if (candidate->form == form) {
      formInUse = candidate;
      return true;
    }
  return false;
}

} // namespace lumagauge
