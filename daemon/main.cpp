#include "daemon/HelperDaemon.h"

int main(int argc, char* argv[])
{
    HelperDaemon daemon;
    return daemon.main(argc, argv);
}
