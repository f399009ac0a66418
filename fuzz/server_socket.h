// The other end of the agent's socket, in the fuzzer's own process.
#ifndef FUZZ_SERVER_SOCKET_H_
#define FUZZ_SERVER_SOCKET_H_

#include <string>
#include <string_view>

namespace ncdm_fuzz {

// Makes the directories below a new TMPDIR, which goes with the process, and listens there. Once a
// process.
void Listen();

// Ends listening, so that no connection can be made, and begins it anew.
void StopListening();
void ListenAgain();

// Takes the connection that the agent has made, in place of the one before. True if there was one.
bool Accept();

// Sends bytes to the agent, as far as it has room for them.
void SendToAgent(std::string_view bytes);

// Reads and forgets what the agent has sent.
void ReadAll();

// Reads what the agent has sent, at most so many bytes.
std::string Read(size_t most);

// Ends the connection from the server's side.
void HangUp();

}  // namespace ncdm_fuzz

#endif  // FUZZ_SERVER_SOCKET_H_
