// Where a request for the page's files may look: the request target's path turned into a path relative to
// the page's folder, or refused. A pure function over text, so that it can be fuzzed; the server joins the
// answer to its `--web` folder. No state; any thread.
#ifndef PATHWRIGHT_HOST_MAP_PAGE_FILES_H_
#define PATHWRIGHT_HOST_MAP_PAGE_FILES_H_

#include <string>
#include <string_view>

namespace host::map {

// The file a request target (as sent, still percent-encoded, with or without "?query") names inside the
// page's folder, as "NAME/NAME/..." without a leading slash: "/" names "index.html". Answers "" (refused)
// unless the path starts with one "/" and every segment between slashes is non-empty, starts with no ".",
// and decodes to bytes that hold no "/", "\", NUL or other control character; so the answer never leaves
// the folder, whatever the folder is.
std::string page_file(std::string_view target);

}  // namespace host::map

#endif  // PATHWRIGHT_HOST_MAP_PAGE_FILES_H_
