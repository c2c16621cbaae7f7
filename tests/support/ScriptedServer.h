// Servers on loopback that do what a test tells them to, and places where none is.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quintora {

// Owns a descriptor.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(int number = -1) : number_(number) {}
  ~OwnedDescriptor() { close(); }
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

  int get() const { return number_; }
  void close() {
    if (number_ >= 0)
      ::close(number_);
    number_ = -1;
  }

 private:
  int number_;
};

struct SocketAddress {
  sockaddr_storage storage = {};
  socklen_t size = 0;

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

inline SocketAddress socketAddress(const std::string& address, uint16_t port) {
  SocketAddress result;
  auto* const v4 = reinterpret_cast<sockaddr_in*>(&result.storage);
  auto* const v6 = reinterpret_cast<sockaddr_in6*>(&result.storage);
  if (inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(port);
    result.size = sizeof *v4;
  } else if (inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(port);
    result.size = sizeof *v6;
  }
  return result;
}

// A port of one address that is taken, so that nobody else gets it, and refuses every connection.
class BoundPort {
 public:
  // Port 0 takes a free one.
  explicit BoundPort(const std::string& address, uint16_t port = 0)
      : socket_(socket(socketAddress(address, 0).storage.ss_family, SOCK_STREAM, 0)) {
    SocketAddress where = socketAddress(address, port);
    isBound_ = bind(socket_.get(), where.get(), where.size) == 0 &&
               getsockname(socket_.get(), where.get(), &where.size) == 0;
    // The port stands at the same place in both families.
    if (isBound_)
      port_ = ntohs(reinterpret_cast<sockaddr_in*>(&where.storage)->sin_port);
  }

  bool isBound() const { return isBound_; }
  uint16_t port() const { return port_; }
  int descriptor() const { return socket_.get(); }

 private:
  const OwnedDescriptor socket_;
  bool isBound_ = false;
  uint16_t port_ = 0;
};

// The server's end of one connection. Whatever waits gives up after ten seconds.
class Connection {
 public:
  explicit Connection(int socket) : socket_(socket) {
    const timeval patience = {10, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const int yes = 1;  // what is sent goes at once
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  }

  // All that has been received.
  const std::string& received() const { return received_; }

  // Receives at most so many bytes. False at the end of the connection.
  bool receive(size_t most = 65536) {
    std::string buffer(most, '\0');
    const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count > 0)
      received_.append(buffer, 0, static_cast<size_t>(count));
    return count > 0;
  }

  // Receives until so many bytes have come in all.
  void receiveUntil(size_t count) {
    while (received_.size() < count && receive(count - received_.size())) {
    }
  }

  void receiveUntilClosed() {
    while (receive()) {
    }
  }

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), 0);
      if (count <= 0)
        return;
      bytes.remove_prefix(static_cast<size_t>(count));
    }
  }

  void endSending() { shutdown(socket_.get(), SHUT_WR); }

  // Ends the connection as a crash does: by a reset.
  void reset() {
    const linger atOnce = {1, 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket_.close();
  }

 private:
  OwnedDescriptor socket_;
  std::string received_;
};

// A thread that takes one connection after the other and plays the script on each; the connection
// ends with the script.
class ScriptedServer {
 public:
  using Script = std::function<void(Connection&)>;

  // Port 0 takes a free one. A size for the receive buffer counts for every connection.
  explicit ScriptedServer(Script script, const std::string& address = "127.0.0.1",
                          uint16_t port = 0, int receiveBufferSize = 0)
      : script_(std::move(script)), bound_(address, port) {
    if (receiveBufferSize > 0)
      setsockopt(bound_.descriptor(), SOL_SOCKET, SO_RCVBUF, &receiveBufferSize,
                 sizeof receiveBufferSize);
    isListening_ = bound_.isBound() && listen(bound_.descriptor(), 16) == 0 &&
                   fcntl(bound_.descriptor(), F_SETFL, O_NONBLOCK) == 0 && pipe(stop_) == 0;
    if (!isListening_)
      return;
    // Signals are for the client.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    thread_ = std::thread([this] { serve(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  ~ScriptedServer() {
    stop();
    for (const int end : stop_) {
      if (end >= 0)
        close(end);
    }
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  bool isListening() const { return isListening_; }
  uint16_t port() const { return bound_.port(); }

  // What each connection has sent, one text for each connection that ever came. Stops the server.
  const std::vector<std::string>& received() {
    stop();
    return received_;
  }

 private:
  void stop() {
    if (!thread_.joinable())
      return;
    const char byte = 0;
    if (write(stop_[1], &byte, 1) == 1)
      thread_.join();
  }

  // Before it stops, it still takes those who are waiting, so that they count.
  void serve() {
    for (;;) {
      pollfd watched[] = {{bound_.descriptor(), POLLIN, 0}, {stop_[0], POLLIN, 0}};
      poll(watched, 2, -1);
      const int taken = accept(bound_.descriptor(), nullptr, nullptr);
      if (taken >= 0)
        play(taken);
      else if (watched[1].revents != 0)
        return;
    }
  }

  void play(int taken) {
    fcntl(taken, F_SETFL, 0);  // on some systems it has what the listening socket has
    Connection connection(taken);
    script_(connection);
    received_.push_back(connection.received());
  }

  const Script script_;
  const BoundPort bound_;
  bool isListening_ = false;
  int stop_[2] = {-1, -1};
  std::vector<std::string> received_;
  std::thread thread_;
};

}  // namespace quintora
