// zovek: signal processing for radio receivers on the command line.
#include "commands.h"
#include "io/stop.h"
#include "io/system.h"
#include "io/talk.h"
#include "line/failure.h"
#include <new>

using namespace client;

int main(int argc, char** argv)
{
    try {
        const int status = run(system::begin(argc, argv));
        deliver();
        return status;
    } catch (const WrongUsage& error) {
        complain(std::string(error.what()) + " (see --help)");
        return 2;
    } catch (const std::bad_alloc&) {
        complain("out of memory");
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return exit_status(1);
}
