// Numbers as both ends of the game link write them: 32-bit floats as the shortest decimal text that reads back to
// the same float, and fast readers and writers for the flat number arrays of batched ground queries
// (hundreds of thousands of numbers per line, where a general JSON tree would dominate). Stateless
// functions; safe from several threads.
#ifndef PATHWRIGHT_PROTOCOL_FLAT_NUMBERS_H_
#define PATHWRIGHT_PROTOCOL_FLAT_NUMBERS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "editor/points/world_point.h"

namespace protocol {

// Appends the shortest decimal text of `value` (finite) that reads back to the same float.
void append_float(std::string& out, float value);
std::string float_text(float value);

// The double whose shortest text is the float's shortest text, so that a JSON printer for doubles writes
// the float as the link wants it ("0.1", not "0.10000000149011612"); narrowing it gives `value` back.
double wire_double(float value);

// Narrows `value` to the nearest float, as a reader of the link does. False (and `out` untouched) when
// that is not finite: NaN, infinite, or at least halfway from the largest float to the next power of two.
bool narrow_to_float(double value, float& out);

// Appends "[v0,v1,...]" with every value written as `append_float` does.
void append_float_array(std::string& out, const float* values, std::size_t count);
// Appends "[x0,y0,z0,x1,...]": the coordinates of `count` points (a "ground_heights" request's probes),
// each written as `append_float` does.
void append_point_array(std::string& out, const story_notebook::WorldPoint* points, std::size_t count);
// Appends "[f0,f1,...]" with 1 for a non-zero flag and 0 otherwise.
void append_flag_array(std::string& out, const std::uint8_t* flags, std::size_t count);

// Reads the JSON array of numbers that starts at `text[pos]` (white space allowed around elements),
// narrowing each double to float. On true, `out` holds the numbers and `pos` is just past the closing
// bracket. On false, `error` says why, without naming the array ("holds a non-number at index 4",
// "is not an array", "is not closed", "holds a number out of range at index 0"), and `out`
// and `pos` are unspecified.
bool read_float_array(std::string_view text, std::size_t& pos, std::vector<float>& out, std::string& error);

}  // namespace protocol

#endif  // PATHWRIGHT_PROTOCOL_FLAT_NUMBERS_H_
