// A fast 64-bit hash of bytes: checks each journal record and tells which saved version of a package a
// file holds. Not cryptographic; stable across builds because it is stored on disk. Pure function, safe
// from any thread.
#ifndef PATHWRIGHT_STORE_CONTENT_HASH_H_
#define PATHWRIGHT_STORE_CONTENT_HASH_H_

#include <cstdint>
#include <string_view>

namespace host::store {

std::uint64_t content_hash(std::string_view bytes);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_CONTENT_HASH_H_
