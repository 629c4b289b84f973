#pragma once

#include "common/result.h"

#include <QStringList>

#include <functional>

namespace MGImport8 {

class ServerDiscovery;

/// The servers a user may choose from: those that answered discovery on the network first, then
/// the registered ones group by group, each name once (compared upper-cased), in the order first
/// found.
struct ServerChoice
{
    QStringList servers;
    /// Why discovery could not run, empty when it ran (whether or not anything answered).
    QString discoveryError;
    /// Why the registered servers could not be read, empty when they were (or there are none).
    QString registeredError;

    /// `started` runs once the discovery requests are out, before any reply is awaited; not at
    /// all when discovery cannot run.
    static ServerChoice collect(ServerDiscovery &discovery, const std::function<void()> &yield,
                                const std::function<void()> &started = {});
};

} // namespace MGImport8
