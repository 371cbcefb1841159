// Fatal errors of the content generator.
#include "fail.h"

#include <cstdio>
#include <cstdlib>

void fail(const std::string& message)
{
    std::fprintf(stderr, "contentgen: %s\n", message.c_str());
    std::exit(1);
}
