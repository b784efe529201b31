// The examples that the docs show, read out of their Markdown so that tests can run them against the
// real programs and the docs cannot drift from what the programs answer. Plain functions over text; any
// thread.
//
// An exchange is written in a fenced code block as a line starting "-> " (what is sent) followed by a
// line starting "<- " (what comes back). A line that starts with white space continues the message above
// it (the white space is dropped), so a long message may be shown on several lines. In an answer, a
// string written "<...>" (angle brackets) stands for any value: a temporary folder, a time.
#ifndef PATHWRIGHT_TESTS_DOCS_DOC_EXAMPLES_H_
#define PATHWRIGHT_TESTS_DOCS_DOC_EXAMPLES_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace doc_examples {

struct Exchange {
  int line = 0;         // the line of the "->" in the doc, from 1
  std::string request;  // sent as written (continuations joined)
  std::string answer;   // JSON text of the expected answer
};

// Every exchange of the Markdown `text`, in order. On false, `error` names the line of the first "->"
// without its "<-" (or the reverse) and `exchanges` holds those before it.
bool read_exchanges(const std::string& text, std::vector<Exchange>& exchanges, std::string& error);

// The fenced code blocks of `text` whose opening fence carries `info` ("json package-actor"), in order.
std::vector<std::string> fenced_blocks(const std::string& text, const std::string& info);

// True when `actual` is `expected` with its "<...>" strings taken as any value. Objects compare by
// members (order aside), numbers by value. On false, `where` is the path of the first difference.
bool matches(const nlohmann::json& expected, const nlohmann::json& actual, std::string& where);

// The whole file at `path`; "" when it cannot be read.
std::string file_text(const std::string& path);

}  // namespace doc_examples

#endif  // PATHWRIGHT_TESTS_DOCS_DOC_EXAMPLES_H_
