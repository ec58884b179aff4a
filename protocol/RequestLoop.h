#pragma once

namespace tavu {

class ConnectionServer;
class ClientConnection;

// Serves one client: reads requests, checks the version handshake, runs the numbered
// commands and writes one reply per request. Leaves only by an exception: the client
// went away, or broke the envelope in a way that ends the connection without a reply.
[[noreturn]] void runRequestLoop(ConnectionServer& server, ClientConnection& connection);

}  // namespace tavu
