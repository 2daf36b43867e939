#ifndef DORVANE_SUPPORT_DVENV_H
#define DORVANE_SUPPORT_DVENV_H

class StringBuffer;

/// @file
/// The environment of the program.

/// Appends the value of an environment variable; nothing when it is unset or `name` is null. The
/// name may be the content of `out` itself. True when the variable is set and its value was
/// appended. As with std::getenv(), no other thread changes the environment meanwhile.
bool dvGetEnv(const char* name, StringBuffer& out);

#endif
