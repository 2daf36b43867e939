#include "shared/Arguments.h"

#include <cstring>

#include "core/StringBuffer.h"
#include "shared/TextFile.h"

bool Arguments::read(int argc, char** argv) {
  m_files = argv;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    char* const argument = argv[i];
    const bool isOption = !optionsEnded && argument[0] == '-' && argument[1] != '\0';
    if (!isOption)
      m_files[m_fileCount++] = argument;
    else if (std::strcmp(argument, "--") == 0)
      optionsEnded = true;
    else
      return std::strcmp(argument, "--help") == 0 ? help() : refuse(argument, "is no option");
  }
  return m_fileCount <= m_mostFiles || refuse(m_files[m_mostFiles], "is one file too many");
}

bool Arguments::help() {
  StringBuffer text("usage: ");
  text.append3(m_program, " ", m_usage);
  m_exitCode = print(text) ? 0 : 1;
  return false;
}

bool Arguments::refuse(const char* argument, const char* why) {
  StringBuffer what(why);
  what.append("; --help tells more");
  m_exitCode = 2;
  return complain(m_program, argument, what.getString());
}
