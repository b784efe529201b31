// The JSON value that carries every route command's parameters and results and every mod package
// document. A plain value type: a kind tag plus one payload field per kind, all present at once, with
// deep copies and no sharing. Not synchronised; the only shared state is the null that `get` answers
// for a missing member, built once under the runtime's one-time guard.
#ifndef PATHWRIGHT_JSON_VALUE_H_
#define PATHWRIGHT_JSON_VALUE_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace mods::json {

struct Value {
  enum class Kind : std::int32_t { Null = 0, Bool = 1, Number = 2, String = 3, Array = 4, Object = 5 };

  Kind kind = Kind::Null;
  bool boolean = false;
  double number = 0.0;
  std::string str;
  std::vector<Value> items;
  std::map<std::string, Value> members;

  Value() = default;
  // Bool, Number and String values; every other field keeps its default. Integers arrive as doubles.
  static Value of(bool b);
  static Value of(double n);
  static Value of(const std::string& s);
  static Value of(const char* s) { return of(std::string(s)); }
  static Value array();
  static Value object();

  // Reading access: the member `key`, or the shared null when there is none. Never inserts or copies,
  // whatever `kind` says.
  const Value& get(const std::string& key) const;
  // The text of a String; `fallback` for every other kind.
  std::string string(const std::string& fallback) const;
  // Writing access: makes this value an Object (keeping its members) and answers the member `key`,
  // inserted as null when missing.
  Value& operator[](const std::string& key);

  bool is_null() const { return kind == Kind::Null; }
  bool is_bool() const { return kind == Kind::Bool; }
  bool is_number() const { return kind == Kind::Number; }
  bool is_string() const { return kind == Kind::String; }
  bool is_array() const { return kind == Kind::Array; }
  bool is_object() const { return kind == Kind::Object; }
  // True when `key` is among the members (whatever the kind).
  bool has(const std::string& key) const { return members.find(key) != members.end(); }

  // JSON equality: same kind and same meaningful payload; fields that the kind does not use are ignored.
  friend bool operator==(const Value& a, const Value& b);
};

}  // namespace mods::json

#endif  // PATHWRIGHT_JSON_VALUE_H_
