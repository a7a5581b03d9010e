#pragma once

#include <string>

/// A network of this process's own. The box listens on fixed ports, gives fixed interfaces their addresses
/// and is talked to by netlink, so that boxes of tests that run side by side would meet in the machine's
/// network.

/// Runs this program again with these arguments in network, mount and process namespaces of its own, and
/// ends with its exit status; inside, /run is empty but for /run/netns, and the loopback interface is up.
/// Returns where it is inside already, and where the machine allows no such namespaces: then this process
/// holds a lock until it ends, which keeps other tests out of the machine's network meanwhile. To be called
/// before any thread is started. Throws where neither works.
void EnterPrivateNetwork(char* const arguments[]);

/// Why this process has no network of its own; empty where it has one.
const std::string& WhyNoPrivateNetwork();
