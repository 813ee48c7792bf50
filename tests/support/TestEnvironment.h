#pragma once
// A temporary home for one test program: HOME and the XDG folders point into it, so the
// log, the defaults store and the component folders never touch the real ones.

#include <string>

namespace TestEnvironment {

// The temporary home folder of this test program.
std::string const& Home();

// Reads a whole file; empty when it cannot be read.
std::string ReadFile(std::string const& path);
bool WriteFile(std::string const& path, std::string const& contents);

}  // namespace TestEnvironment
