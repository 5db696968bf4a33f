// zovek-selftest [--json]: the client's self-test as a program of its own, for systems without the client's
// other libraries.
#include "selftest.h"
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    using namespace client::selftest;
    const bool json = argc == 2 && std::strcmp(argv[1], "--json") == 0;
    if (argc > 1 && !json) {
        std::fprintf(stderr, "zovek-selftest: wrong usage (zovek-selftest [--json])\n");
        return 2;
    }
    const int status = report(run(), json);
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "zovek-selftest: standard output: not all could be written\n");
        return 1;
    }
    return status;
}
