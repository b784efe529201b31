// Fuzzes what `pathwright diff`, `merge` and `check`'s places read: the bytes, split at the first "|||",
// as two package texts. For packages A and B: a package is no change from itself; merging B into B from A
// gives B without a conflict and is then no change from B; the diff of A and B and a merge of both ways
// run to the end. Each text's actors are found again by json_places where it parses.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "compare/package_diff.h"
#include "compare/package_merge.h"
#include "json_text/json_places.h"
#include "json_text/json_text.h"

namespace {

using mods::json::Value;

bool package(std::string_view text, Value& value) {
  json_text::JsonTextError error;
  std::string problem;
  if (!json_text::parse_json(text, value, error)) return false;
  // Every element of "actors" is found where the text has it, one offset each.
  const auto actors = json_text::value_offset(text, json_text::root_offset(text), {json_text::PathStep("actors")});
  if (value.get("actors").is_array() &&
      (!actors || json_text::element_offsets(text, *actors).size() != value.get("actors").items.size())) {
    std::abort();
  }
  return host::compare::is_package(value, problem);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t split = input.find("|||");
  if (split == std::string_view::npos) return 0;
  Value a, b;
  if (!package(input.substr(0, split), a) || !package(input.substr(split + 3), b)) return 0;
  if (!host::compare::diff_packages(a, a).empty()) std::abort();
  const host::compare::MergeOutcome same = host::compare::merge_packages(a, b, b);
  if (!same.conflicts.empty() || !(same.merged == b)) std::abort();
  host::compare::diff_packages(a, b);
  host::compare::merge_packages(a, a, b);
  host::compare::merge_packages(b, a, b);
  return 0;
}
