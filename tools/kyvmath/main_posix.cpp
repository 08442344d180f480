#include "cli.h"

int main(int argc, char** argv) { return kyv::host::run_command_line({argv + 1, argv + argc}); }
