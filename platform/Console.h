// What the lumbrel tool needs of its console beyond standard C++: its
// arguments as UTF-8, and standard streams that pass bytes unchanged. Built
// into the tool, not the library; each platform's part is console/Console.cpp
// in its folder.
#ifndef LUMBREL_PLATFORM_CONSOLE_H
#define LUMBREL_PLATFORM_CONSOLE_H

#include <string>
#include <vector>

namespace Lumbrel {
namespace platform {

// The program's arguments after its name, in UTF-8.
std::vector<std::string> commandLineArguments(int argc, char** argv);
// Makes standard input, output and error carry bytes as they are, with no
// translation of line ends.
void useBinaryStandardStreams();

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_CONSOLE_H
