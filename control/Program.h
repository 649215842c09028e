#pragma once

/// Reads the command line and carries out the one command that it names. Gives the exit status: that of the command, 1
/// where something kept it from its work, 2 for words that make no sense. Messages go to stderr, in a line or two.
int runProgram(int argc, char** argv);
