// Starts the configuration store on $HOME/Library/Tarnwick/config.xml as the window does and prints
// how many profiles it holds; fuzz/hostile-config.sh times it on hostile files.
#include "config/configmanager.h"

#include <cstdio>

int main()
{
    const ConfigManager store(QStringLiteral("config.xml"), QString());
    std::printf("%lld profiles\n", static_cast<long long>(store.getProfileEntries().size()));
    return 0;
}
