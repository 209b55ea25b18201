// The manual page lumbrel(1), made from the same texts as `lumbrel --help` and
// `lumbrel COMMAND --help`, so that the two cannot say different things.
#ifndef LUMBREL_TOOLS_MANUAL_PAGE_H
#define LUMBREL_TOOLS_MANUAL_PAGE_H

#include <string>

namespace lumbrel_tool {

// The page in roff (man macros): the usage lines of the tool and of every
// command as the synopsis, the tool's help as the description and one
// subsection per command.
std::string manualPage(const std::string& version);

}  // namespace lumbrel_tool

#endif  // LUMBREL_TOOLS_MANUAL_PAGE_H
