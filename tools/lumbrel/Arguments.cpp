#include "Arguments.h"

#include <cctype>
#include <cstddef>

namespace lumbrel_tool {
namespace {

struct Form {
  const char* command;
  const char* verb;  // empty for commands without verbs
  const char* synopsis;
  std::size_t minOperands;
  std::size_t maxOperands;
  bool takesEscapedKey;
  bool takesForce;
};

const Form forms[] = {
    {"tour", "", "[DIR]", 0, 1, false, false},
    {"data", "list", "FILE", 1, 1, false, false},
    {"data", "get", "[-e] FILE KEY", 2, 2, true, false},
    {"data", "put", "[-e] FILE KEY [INPUT]", 2, 3, true, false},
    {"data", "remove", "[-e] FILE KEY", 2, 2, true, false},
    {"data", "dump", "FILE", 1, 1, false, false},
    {"data", "load", "FILE [DUMP]", 1, 2, false, false},
    {"ini", "list", "FILE [SECTION]", 1, 2, false, false},
    {"ini", "get", "FILE SECTION KEY", 3, 3, false, false},
    {"ini", "set", "[--force] FILE SECTION KEY VALUE", 4, 4, false, true},
    {"ini", "remove", "[--force] FILE SECTION [KEY]", 2, 3, false, true},
    {"props", "list", "FILE", 1, 1, false, false},
    {"props", "get", "FILE KEY", 2, 2, false, false},
    {"props", "set", "[--force] FILE KEY VALUE", 3, 3, false, true},
    {"props", "remove", "[--force] FILE KEY", 2, 2, false, true},
    {"uuid", "", "[-n N]", 0, 0, false, false},
    {"date", "", "[TEXT]", 0, 1, false, false},
    {"host", "", "", 0, 0, false, false},
};

const char* const toolUsage = "usage: lumbrel COMMAND [ARGUMENTS]   (lumbrel --help lists the commands)\n";

bool isCommand(const std::string& command) {
  for (const Form& form : forms) {
    if (command == form.command) return true;
  }
  return false;
}

bool hasVerbs(const std::string& command) {
  return command == "data" || command == "ini" || command == "props";
}

const Form* findForm(const std::string& command, const std::string& verb) {
  for (const Form& form : forms) {
    if (command == form.command && verb == form.verb) return &form;
  }
  return nullptr;
}

// N of `uuid -n N`: a decimal number from 1 to a million.
unsigned long parseCount(const std::string& text, const std::string& usage) {
  const unsigned long limit = 1000000;
  unsigned long value = 0;
  bool valid = !text.empty() && text.size() <= 7;
  for (const char c : text) {
    if (c < '0' || c > '9') valid = false;
    if (valid) value = value * 10 + static_cast<unsigned long>(c - '0');
  }
  if (!valid || value == 0 || value > limit) {
    throw UsageError("-n wants a number from 1 to 1000000, not '" + text + "'", usage);
  }
  return value;
}

const char* const toolHelp =
    "usage: lumbrel COMMAND [ARGUMENTS]\n"
    "       lumbrel --help | --version\n"
    "\n"
    "A tour of the lumbrelcommon library, and a tool for the files its stores keep.\n"
    "\n"
    "Commands:\n"
    "  tour [DIR]           walk through the library in DIR (default: a new temporary\n"
    "                       folder) and show every file it writes\n"
    "  data VERB FILE ...   keyed binary records: list, get, put, remove, dump, load\n"
    "  ini VERB FILE ...    sectioned settings: list, get, set, remove\n"
    "  props VERB FILE ...  flat settings: list, get, set, remove\n"
    "  uuid [-n N]          N fresh UUIDs (default 1)\n"
    "  date [TEXT]          TEXT read as a date and time, or the present moment\n"
    "  host                 what the library knows of this host and process\n"
    "\n"
    "'lumbrel COMMAND --help' describes a command. FILE, INPUT, DUMP and DIR are\n"
    "paths relative to the working directory; '-' as INPUT or DUMP is standard input.\n"
    "Options come before the operands; '--' ends them, so that a VALUE may begin\n"
    "with '-'. Results go to standard output, errors to standard error.\n"
    "\n"
    "Exit status: 0 success, 1 key or section not found, 2 usage error, 3 a file\n"
    "could not be read or written (the library's message follows 'lumbrel: ').\n";

const char* const dataHelp =
    "\n"
    "A data file holds records of a key (16-bit text) and data (any bytes), in file\n"
    "order. Keys match without regard to case (A-Z); KEY is UTF-8 text.\n"
    "\n"
    "  list    each key (escaped as in a dump), a tab, and its data size in bytes\n"
    "  get     the data of KEY on standard output, unchanged\n"
    "  put     stores the bytes of INPUT (standard input when absent or '-') under\n"
    "          KEY, replacing the data of an existing key in place; creates FILE\n"
    "  remove  removes the record of KEY\n"
    "  dump    the whole file as text, one line per record: key, tab, data\n"
    "  load    makes the new FILE from a dump (standard input when absent or '-');\n"
    "          FILE must not exist, and nothing is written unless the whole dump\n"
    "          reads. Loading a dump gives back the dumped file byte for byte.\n"
    "  -e      KEY is written as in a dump (\\uXXXX, \\t, \\\\ ...)\n"
    "\n"
    "Dump escapes. Keys: printable ASCII as itself, controls, surrogates and\n"
    "non-characters as \\uXXXX, other units as UTF-8. Data: printable ASCII as\n"
    "itself, other bytes as \\xHH. Both: \\\\ \\t \\n \\r.\n"
    "put, remove and load write the new file beside the old one and rename it over\n"
    "it, so that the file is the old one or the new one whole, whenever the tool\n"
    "stops.\n";

const char* const iniHelp =
    "\n"
    "A sectioned settings file: [section] headers and key=value lines, UTF-8.\n"
    "Section and key names match without regard to case (A-Z).\n"
    "\n"
    "  list    the sections, one a line; with SECTION its key=value lines, each\n"
    "          key once (get, set and remove reach the first of a name)\n"
    "  get     the value of KEY in SECTION\n"
    "  set     sets the value, creating the key, the section or FILE as needed\n"
    "  remove  removes KEY from SECTION, or the whole SECTION\n"
    "\n"
    "set and remove rewrite the whole file as the store writes it: sections and keys\n"
    "sorted, each section once, comments, blank lines and lines outside a section\n"
    "dropped. list and get never change the file; nor does a remove that finds\n"
    "nothing. set refuses what the file could not give back as given: text that\n"
    "is not UTF-8, a line break, '=' in KEY, blanks at the ends of KEY or at the\n"
    "end of VALUE, a KEY beginning with '#', ';' or '[', a SECTION beginning with\n"
    "'[' or ending with ']'. set and remove refuse a FILE that is not settings\n"
    "(not UTF-8 text, or with lines the rewrite would drop besides comments and\n"
    "blank lines, such as a key line before the first section) unless --force.\n"
    "The new file is written beside the old one and renamed over it, so that the\n"
    "file is the old one or the new one whole, whenever the tool stops.\n";

const char* const propsHelp =
    "\n"
    "A flat settings file of key=value lines, UTF-8. Keys match without regard to\n"
    "case (A-Z); the first line of a key counts.\n"
    "\n"
    "  list    the key=value lines in file order, each key once\n"
    "  get     the value of KEY\n"
    "  set     sets the value of KEY, appending it when new; creates FILE\n"
    "  remove  removes the first line of KEY\n"
    "\n"
    "set and remove rewrite the whole file as the store writes it: the key lines in\n"
    "their order, comments, blank lines and lines without '=' dropped. list and get\n"
    "never change the file; nor does a remove that finds nothing. set refuses what\n"
    "the file could not give back as given: text that is not UTF-8, a line break,\n"
    "'=' in KEY, blanks at the ends of KEY or at the end of VALUE, a KEY beginning\n"
    "with '#' or ';'. set and remove refuse a FILE that is not settings (not UTF-8\n"
    "text, or with lines the rewrite would drop besides comments and blank lines)\n"
    "unless --force. The new file is written beside the old one and renamed over\n"
    "it, so that the file is the old one or the new one whole, whenever the tool\n"
    "stops.\n";

const char* const tourHelp =
    "\n"
    "Walks through the typical life of a program that uses lumbrelcommon: paths,\n"
    "a sectioned and a flat settings file, a data file of records, a log file,\n"
    "dates, UUIDs, host queries and a stopwatch. Every file it writes is shown\n"
    "after it is closed, and stays in DIR (created if missing; default: a new\n"
    "folder under the system's temporary folder).\n";

const char* const uuidHelp = "\nPrints N fresh random UUIDs (default 1), one a line.\n";

const char* const dateHelp =
    "\n"
    "Reads TEXT as YYYY-MM-DD hh:mm:ss, YYYY-MM-DD or hh:mm:ss (local time) and\n"
    "prints it back, followed by a tab and the seconds since the epoch when it has\n"
    "a date; without TEXT, the present moment. Text the library refuses is a usage\n"
    "error.\n";

const char* const hostHelp =
    "\nPrints the computer's name, its name and first IPv4 address as the name\n"
    "service knows them, and this program's file name, as the library gives them.\n";

}  // namespace

std::string usageText(const std::string& command, const std::string& verb) {
  std::string text;
  for (const Form& form : forms) {
    if (command != form.command || (!verb.empty() && verb != form.verb)) continue;
    text += text.empty() ? "usage: " : "       ";
    text += std::string("lumbrel ") + form.command;
    if (*form.verb != '\0') text += std::string(" ") + form.verb;
    if (*form.synopsis != '\0') text += std::string(" ") + form.synopsis;
    text += '\n';
  }
  return text.empty() ? toolUsage : text;
}

std::string helpText(const std::string& command) {
  if (command == "data") return usageText(command) + dataHelp;
  if (command == "ini") return usageText(command) + iniHelp;
  if (command == "props") return usageText(command) + propsHelp;
  if (command == "tour") return usageText(command) + tourHelp;
  if (command == "uuid") return usageText(command) + uuidHelp;
  if (command == "date") return usageText(command) + dateHelp;
  if (command == "host") return usageText(command) + hostHelp;
  return toolHelp;
}

std::vector<std::string> commandNames() {
  std::vector<std::string> names;
  for (const Form& form : forms) {
    if (names.empty() || names.back() != form.command) names.emplace_back(form.command);
  }
  return names;
}

Invocation parseArguments(const std::vector<std::string>& arguments) {
  Invocation invocation;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    if (argument == "--") break;
    if (argument == "--help" || argument == "-h") invocation.help = true;
  }

  std::size_t at = 0;
  if (at < arguments.size() && arguments[at] == "--version" && !invocation.help) {
    if (arguments.size() > 1) throw UsageError("--version takes no arguments", toolUsage);
    invocation.version = true;
    return invocation;
  }
  while (at < arguments.size() && (arguments[at] == "--help" || arguments[at] == "-h")) ++at;
  if (at == arguments.size()) {
    if (invocation.help) return invocation;
    throw UsageError("no command given", toolUsage);
  }
  invocation.command = arguments[at++];
  if (!isCommand(invocation.command)) {
    const std::string unknown = invocation.command;
    invocation.command.clear();
    if (invocation.help) return invocation;
    throw UsageError("unknown command '" + unknown + "'", toolUsage);
  }
  const std::string commandUsage = usageText(invocation.command);

  if (hasVerbs(invocation.command)) {
    while (at < arguments.size() && (arguments[at] == "--help" || arguments[at] == "-h")) ++at;
    if (at == arguments.size()) {
      if (invocation.help) return invocation;
      throw UsageError("no " + invocation.command + " verb given", commandUsage);
    }
    invocation.verb = arguments[at++];
    if (findForm(invocation.command, invocation.verb) == nullptr) {
      if (invocation.help) return invocation;
      throw UsageError("unknown " + invocation.command + " verb '" + invocation.verb + "'",
                       commandUsage);
    }
  }
  if (invocation.help) return invocation;

  const Form& form = *findForm(invocation.command, invocation.verb);
  const std::string usage = usageText(invocation.command, invocation.verb);
  for (; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    const bool option = !optionsEnded && invocation.operands.empty() && argument.size() > 1 &&
                        argument[0] == '-';
    if (!option) {
      if (argument == "--" && !optionsEnded) {
        optionsEnded = true;
        continue;
      }
      invocation.operands.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "-e" && form.takesEscapedKey) {
      invocation.escapedKey = true;
    } else if (argument == "--force" && form.takesForce) {
      invocation.force = true;
    } else if (argument == "-n" && invocation.command == "uuid") {
      if (at + 1 == arguments.size()) throw UsageError("-n wants a number", usage);
      invocation.count = parseCount(arguments[++at], usage);
    } else {
      throw UsageError("unknown option '" + argument + "'", usage);
    }
  }
  if (invocation.operands.size() < form.minOperands) throw UsageError("too few arguments", usage);
  if (invocation.operands.size() > form.maxOperands) throw UsageError("too many arguments", usage);
  return invocation;
}

namespace {

bool isSlash(char c) { return c == '/' || c == '\\'; }

// `X:` and a separator, or two separators (a network path).
bool isWindowsAbsolute(const std::string& path) {
  const bool volume = path.size() >= 3 && std::isalpha(static_cast<unsigned char>(path[0])) &&
                      path[1] == ':' && isSlash(path[2]);
  return volume || (path.size() >= 2 && isSlash(path[0]) && isSlash(path[1]));
}

}  // namespace

std::string libraryFileName(const std::string& workingDirectory, const std::string& native) {
  const std::string usage = "usage: FILE, INPUT, DUMP and DIR are native paths, relative to the "
                            "working directory\n";
  if (native.empty()) throw UsageError("empty file name", usage);
  std::string name;
  if (!workingDirectory.empty() && workingDirectory[0] == '/') {
    // A POSIX system, where the library shows the root as `Z:\`.
    std::string absolute = native;
    if (native[0] != '/') {
      absolute = workingDirectory;
      if (absolute.back() != '/') absolute += '/';
      absolute += native;
    }
    if (absolute.find('\\') != std::string::npos) {
      throw UsageError("a path with a backslash cannot be named through the library: " + absolute,
                       usage);
    }
    name = "Z:" + absolute;
  } else if (isWindowsAbsolute(native)) {
    // Windows, whose names the library takes as they are.
    name = native;
  } else if (isSlash(native[0])) {
    name = workingDirectory.substr(0, 2) + native;  // from the root of the working volume
  } else {
    name = workingDirectory;
    if (!name.empty() && !isSlash(name.back())) name += '\\';
    name += native;
  }
  for (char& c : name) {
    if (c == '/') c = '\\';
  }
  return name;
}

}  // namespace lumbrel_tool
