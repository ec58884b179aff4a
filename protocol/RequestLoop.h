#pragma once

namespace tavu {

class Clients;
class DeviceManager;
class Stream;
struct ClientHoldings;

// Serves one client on its stream: reads requests, checks the version handshake, runs the
// numbered commands and writes one reply per request. Leaves only by an exception: the client
// went away, or broke the envelope in a way that ends the connection without a reply.
[[noreturn]] void runRequestLoop(Stream& stream, ClientHoldings& holdings, DeviceManager& manager, Clients& clients);

}  // namespace tavu
