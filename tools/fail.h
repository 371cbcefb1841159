// The generator's one shape for fatal errors.
#pragma once

#include <string>

// Writes "contentgen: <message>" to standard error and exits with status 1.
[[noreturn]] void fail(const std::string& message);
