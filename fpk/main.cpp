#include "FpkApp.h"

int main(int argc, char** argv) { return fpkcli::runProgram(argc, argv); }
