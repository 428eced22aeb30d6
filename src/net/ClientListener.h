// Accepts clients on a thread of its own, turns away those that are not allowed, and keeps the others waiting
// until the accept thread serves them by the rules of WaitingClients.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "net/AddressList.h"
#include "net/Sockets.h"
#include "net/WaitingClients.h"
#include "platform/files/FileDescriptor.h"
#include "platform/loop/WakeUp.h"

namespace moxtel {

class ClientListener final {
 public:
  struct Client {
    WaitingClients::Id id = 0;
    FileDescriptor connection;
    sockaddr_in peer{};
  };

  // Starts to accept. Borrows the listening socket, which must not block. With an empty list every client is
  // allowed. Throws std::system_error without descriptors or a thread.
  ClientListener(int listeningSocket, AddressList allowed, const WaitingClients::Limits& limits);
  // Stops, and disconnects the clients that wait. The accept thread must not use this any more.
  ~ClientListener();
  ClientListener(const ClientListener&) = delete;
  ClientListener& operator=(const ClientListener&) = delete;

  // Ends next() once no client waits. Any thread.
  void stop();
  // Whether a client waits. Any thread.
  bool someoneWaits();

  // For the accept thread:

  // Waits for the next client and begins its turn. Nothing after stop() or when the listening socket fails.
  std::optional<Client> next();
  // Waits until the connection of the client that has the turn is readable. Otherwise how the turn must end
  // now. The first bytes of a turn are read even if they come too late.
  std::optional<WaitingClients::Ending> waitForRequest(int connection);
  // A decodable request was handled.
  void handledRequest();
  // Ends the turn; the client is disconnected unless it waits again.
  void endTurn(Client client, WaitingClients::Ending how);

 private:
  void run();
  bool waitForConnection() const;
  void add(FileDescriptor connection, const sockaddr_in& peer);
  std::optional<WaitingClients::TurnEnd> dueEnd();
  bool isReadable(int connection, std::optional<WaitingClients::TurnEnd> end) const;
  void removeDisconnected();

  const int listeningSocket_;
  const AddressList allowed_;
  Waker stop_;
  const WakeUp changed_;  // wakes the accept thread

  std::mutex mutex_;  // for what follows
  WaitingClients waiting_;
  std::map<WaitingClients::Id, Client> clients_;  // those that wait
  WaitingClients::Id lastId_ = 0;
  bool isOver_ = false;  // no further client will come

  bool isFirstLook_ = false;  // accept thread
  std::thread thread_;
};

}  // namespace moxtel
