// The fpk program: list, describe and run the functions of the plug-in
// through the loader, exactly as a database server would call them.
#pragma once

namespace fpkcli {

// Exit status: 0 success, 1 the function raised an error, 2 bad usage or
// bad input.
int runProgram(int argc, char** argv);

}  // namespace fpkcli
