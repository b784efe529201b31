// The page's files: where a request may look (the request target's path turned into a path relative to
// the page's folder, or refused: a pure function over text, so that it can be fuzzed) and the file read
// from below the `--web` folder with its content type. No state; any thread.
#ifndef PATHWRIGHT_MAP_PAGE_FILES_H_
#define PATHWRIGHT_MAP_PAGE_FILES_H_

#include <string>
#include <string_view>

namespace host::map {

// The file a request target (as sent, still percent-encoded, with or without "?query") names inside the
// page's folder, as "NAME/NAME/..." without a leading slash: "/" names "index.html". Answers "" (refused)
// unless the path starts with one "/" and every segment between slashes is non-empty, starts with no ".",
// and decodes to bytes that hold no "/", "\", NUL or other control character; so the answer never leaves
// the folder, whatever the folder is.
std::string page_file(std::string_view target);

struct PageFileAnswer {
  int status = 200;  // 200, 404 (refused, missing, or outside the folder) or 500 (unreadable)
  std::string body;
  std::string type;   // the Content-Type, from the file's extension
  std::string error;  // the text of a refusal
};

// The file `target` names in `web_dir` (see page_file), read whole, when it is a regular file whose real
// path (links followed) lies inside the folder. A missing page (no index.html) says so.
PageFileAnswer read_page_file(const std::string& web_dir, std::string_view target);

}  // namespace host::map

#endif  // PATHWRIGHT_MAP_PAGE_FILES_H_
