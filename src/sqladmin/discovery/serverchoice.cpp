#include "sqladmin/discovery/serverchoice.h"

#include "sqladmin/discovery/registeredservers.h"
#include "sqladmin/discovery/serverdiscovery.h"
#include "sqladmin/discovery/servernames.h"

namespace MGImport8 {

ServerChoice ServerChoice::collect(ServerDiscovery &discovery, const std::function<void()> &yield,
                                   const std::function<void()> &started)
{
    ServerChoice choice;
    ServerNames names;
    Result<QStringList> found = discovery.discover(yield, started);
    if (found)
        names.add(found.value());
    else
        choice.discoveryError = found.error();
    const Result<QList<RegisteredServers::Group>> groups = RegisteredServers::load();
    if (groups) {
        for (const RegisteredServers::Group &group : groups.value())
            names.add(group.servers);
    } else {
        choice.registeredError = groups.error();
    }
    choice.servers = names.names();
    return choice;
}

} // namespace MGImport8
