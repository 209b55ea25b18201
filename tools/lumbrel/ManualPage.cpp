#include "ManualPage.h"

#include <cstddef>
#include <sstream>
#include <vector>

#include "Arguments.h"

namespace lumbrel_tool {
namespace {

// A help text is a block of usage lines, then paragraphs separated by blank
// lines. Indented lines (lists, tables) keep their layout on the page; the
// others are prose that the formatter may fill.
struct Help {
  std::vector<std::string> usage;  // without "usage:" and its indentation
  std::vector<std::string> body;
};

Help split(const std::string& text) {
  Help help;
  std::istringstream lines(text);
  std::string line;
  bool inUsage = true;
  const std::string first = "usage: ";
  const std::string more(first.size(), ' ');
  while (std::getline(lines, line)) {
    if (inUsage && (line.compare(0, first.size(), first) == 0 ||
                    (!help.usage.empty() && line.compare(0, more.size(), more) == 0))) {
      help.usage.push_back(line.substr(first.size()));
      continue;
    }
    if (inUsage && line.empty()) continue;
    inUsage = false;
    help.body.push_back(line);
  }
  while (!help.body.empty() && help.body.back().empty()) help.body.pop_back();
  return help;
}

// Text as roff shows it literally: backslashes and minus signs escaped, and a
// line that would begin with a control character guarded.
std::string roff(const std::string& text) {
  std::string out;
  if (!text.empty() && (text[0] == '.' || text[0] == '\'')) out = "\\&";
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
  }
  return out;
}

void writeBody(std::ostringstream& page, const std::vector<std::string>& body) {
  bool literal = false;
  bool paragraph = true;  // a paragraph break is due before the next text
  for (const std::string& line : body) {
    if (line.empty()) {
      if (literal) page << ".fi\n";
      literal = false;
      paragraph = true;
      continue;
    }
    const bool indented = line[0] == ' ';
    if (paragraph) page << ".PP\n";
    if (indented && !literal) page << ".nf\n";
    if (!indented && literal) page << ".fi\n";
    literal = indented;
    paragraph = false;
    page << roff(line) << '\n';
  }
  if (literal) page << ".fi\n";
}

}  // namespace

std::string manualPage(const std::string& version) {
  const Help tool = split(helpText(""));
  std::string summary = tool.body.empty() ? "lumbrel" : tool.body.front();
  if (!summary.empty() && summary.back() == '.') summary.pop_back();
  if (!summary.empty() && summary[0] >= 'A' && summary[0] <= 'Z') {
    summary[0] = static_cast<char>(summary[0] - 'A' + 'a');
  }

  std::ostringstream page;
  page << ".TH LUMBREL 1 \"\" \"lumbrel " << roff(version) << "\" \"User Commands\"\n"
       // Names, paths and options read badly when broken or stretched.
       << ".nh\n.ad l\n.SH NAME\nlumbrel \\- " << roff(summary) << "\n.SH SYNOPSIS\n.nf\n";
  std::vector<Help> commands;
  for (const std::string& usage : tool.usage) page << roff(usage) << '\n';
  for (const std::string& command : commandNames()) {
    commands.push_back(split(helpText(command)));
    for (const std::string& usage : commands.back().usage) page << roff(usage) << '\n';
  }
  page << ".fi\n.SH DESCRIPTION\n";
  writeBody(page, tool.body);
  page << ".SH COMMANDS\n";
  const std::vector<std::string> names = commandNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    page << ".SS " << names[i] << "\n.nf\n";
    for (const std::string& usage : commands[i].usage) page << roff(usage) << '\n';
    page << ".fi\n";
    writeBody(page, commands[i].body);
  }
  return page.str();
}

}  // namespace lumbrel_tool
