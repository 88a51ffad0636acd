#ifndef DISPATCH_H
#define DISPATCH_H

#include <string>

class CSonarTestController;

// Compares argv[1] with every command word, checks and converts the arguments
// and runs the one matching handler. Returns the run's TestResult_T value;
// NOT_RECOGNIZED when no row accepted the command.
int DispatchCommand(CSonarTestController& controller, int argc, char* argv[], std::string& output);

#endif
