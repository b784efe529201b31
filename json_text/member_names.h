// The member names of the objects a parse reads and checks but does not build (what an outline drops): a
// stack of open objects, each refusing a name it already has. The names are views into the text being
// parsed, which must stay put until the parse ends. Internal to the parser; one parse at a time.
#ifndef PATHWRIGHT_JSON_TEXT_MEMBER_NAMES_H_
#define PATHWRIGHT_JSON_TEXT_MEMBER_NAMES_H_

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace json_text {

class MemberNames {
 public:
  // A new innermost object.
  void open();
  // Adds `name` to the innermost object: false when it has that name already.
  bool add(std::string_view name);
  // Ends the innermost object.
  void close();

 private:
  // An object with more names than this looks its names up in a hash set instead of comparing each.
  static constexpr std::size_t kCompareAtMost = 16;  // names

  struct Object {
    std::size_t first = 0;                                       // its first name in names_
    std::unique_ptr<std::unordered_set<std::string_view>> many;  // its names, once it has many
  };
  std::vector<std::string_view> names_;
  std::vector<Object> objects_;
};

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_MEMBER_NAMES_H_
