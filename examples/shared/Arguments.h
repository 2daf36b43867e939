#ifndef DORVANE_EXAMPLES_SHARED_ARGUMENTS_H
#define DORVANE_EXAMPLES_SHARED_ARGUMENTS_H

/// The arguments of a program that takes files. "--help" is its only option; "--" ends the options,
/// so that names that begin with "-" can follow.
class Arguments {
 public:
  /// `usage`: what follows the name of the program in its help.
  Arguments(const char* program, const char* usage, int mostFiles)
      : m_program(program), m_usage(usage), m_mostFiles(mostFiles) {}

  /// True when the program is to go on. Otherwise it has printed its help, or complained, and ends
  /// with exitCode().
  bool read(int argc, char** argv);

  /// 0 after the help, 1 when it could not be printed, 2 when the program was called wrongly.
  int exitCode() const { return m_exitCode; }

  int fileCount() const { return m_fileCount; }

  /// A file, counted from 0, or what stands for one that is not given.
  const char* fileOr(int index, const char* otherwise) const {
    return index < m_fileCount ? m_files[index] : otherwise;
  }

 private:
  bool refuse(const char* argument, const char* why);
  bool help();

  const char* m_program;
  const char* m_usage;
  int m_mostFiles;
  char** m_files = nullptr;  // the arguments that are no options, moved to the front
  int m_fileCount = 0;
  int m_exitCode = 0;
};

#endif
