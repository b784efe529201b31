// The catalogue of the sixteen resident types of Windfall: code, number, two stored values, display
// name and description, with a lookup by code. Constant for the life of the program; usable from any
// thread.
#ifndef PATHWRIGHT_RESIDENTS_RESIDENT_TYPES_H_
#define PATHWRIGHT_RESIDENTS_RESIDENT_TYPES_H_

#include <cstdint>
#include <string>

namespace story_resident_types {

struct Type {
  const char* code;    // three characters, unique; the key of `find`
  std::uint8_t index;  // the type's number; keys the walk table
  unsigned aux1;       // stored for other parts of the editor (0, 1 or 255)
  unsigned aux2;       // stored for other parts of the editor (0 or 255)
  const char* name;
  const char* description;
};

extern const Type kTypes[16];

// The row whose code equals `code` exactly (case-sensitive, no trimming), or null.
const Type* find(const std::string& code);

}  // namespace story_resident_types

#endif  // PATHWRIGHT_RESIDENTS_RESIDENT_TYPES_H_
