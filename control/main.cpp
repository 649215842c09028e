#include "control/Program.h"

int main(int argc, char** argv) { return runProgram(argc, argv); }
