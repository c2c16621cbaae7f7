// A server application that costs next to nothing, so that a measurement shows the bridge.
//
//   fast_server
//   fast_server --count
//   fast_server --reply-bytes N [--charset NAME] [--chunk N]
//
// Listens on a free port of the loopback interface and prints its number as the first line. Reads
// of each request the head and the Content-Length bytes behind it, answers with those same bytes as
// text/plain; charset=utf-8, and closes the connection. Whatever identifies a request therefore has
// to come back in its own reply. Runs until it is killed; one thread, one epoll, Linux only.
//
// With --count a request is answered with the number of its body's bytes. With --reply-bytes every
// request gets the same page of that many bytes (pageOf), in utf-8 or iso-8859-1, on wish in
// chunks. Either way, what a request brings is thrown away as it comes.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kLengthName = "\r\nContent-Length:";

[[noreturn]] void quit(const char* what) {
  std::perror(what);
  std::exit(1);
}

// 0 where the head names no length.
size_t contentLength(std::string_view head) {
  for (size_t at = 0; (at = head.find("\r\n", at)) != head.npos; ++at) {
    if (strncasecmp(head.data() + at, kLengthName.data(), kLengthName.size()) == 0)
      return std::strtoul(head.data() + at + kLengthName.size(), nullptr, 10);
  }
  return 0;
}

std::string headOf(const std::string& charset, const std::string& lengthLine) {
  return "HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=" + charset + "\r\n" + lengthLine +
         "\r\nConnection: close\r\n\r\n";
}

std::string replyTo(std::string_view body) {
  return headOf("utf-8", "Content-Length: " + std::to_string(body.size())).append(body);
}

// What the options say; without any, each request is answered with its own body.
struct Options {
  bool counts = false;
  std::string charset = "utf-8";
  size_t bytes = 0;  // 0 for no page
  size_t chunk = 0;  // 0 for a reply with a Content-Length
};

// As many whole lines as fit in front of the last line end, dots in between.
std::string pageOf(const Options& page) {
  const std::string line = page.charset == "utf-8"
                               ? "Gr\u00FC\u00DFe aus Z\u00FCrich, this is a line of a page.\n"
                               : "Gr\xFC\xDF"
                                 "e aus Z\xFCrich, this is a line of a page.\n";
  const size_t room = page.bytes < 2 ? 0 : page.bytes - 2;
  std::string text;
  text.reserve(page.bytes);
  while (text.size() + line.size() <= room)
    text += line;
  text.resize(room, '.');
  return text + "\r\n";
}

std::string inChunks(std::string_view text, size_t size) {
  std::string chunks;
  for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
    const std::string_view chunk = text.substr(0, size);
    char sizeLine[32];
    std::snprintf(sizeLine, sizeof sizeLine, "%zx\r\n", chunk.size());
    chunks.append(sizeLine).append(chunk).append("\r\n");
  }
  return chunks + "0\r\n\r\n";
}

// The reply that every request gets; empty without a page.
std::string replyOf(const Options& page) {
  if (page.bytes == 0)
    return {};
  const std::string text = pageOf(page);
  if (page.chunk > 0)
    return headOf(page.charset, "Transfer-Encoding: chunked") + inChunks(text, page.chunk);
  return headOf(page.charset, "Content-Length: " + std::to_string(text.size())) + text;
}

// One request and its reply. Its descriptor is closed, and so watched no longer, with it.
class Connection {
 public:
  // The page must outlive the connection; an empty one stands for the request's own body, or its
  // number of bytes.
  Connection(int descriptor, std::string_view page, bool counts)
      : descriptor_(descriptor), page_(page), counts_(counts) {}
  ~Connection() { close(descriptor_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int descriptor() const { return descriptor_; }
  bool isReplying() const { return !reply_.empty(); }

  // As far as it goes without waiting. False when all is done, or the peer has gone.
  bool advance();

 private:
  // False at the end of the input.
  bool receive();
  // Makes the reply once the request is complete.
  void answer();
  bool send();

  const int descriptor_;
  const std::string_view page_;
  const bool counts_;
  std::string request_;  // the head only, where its body is not sent back
  size_t received_ = 0;
  size_t requestSize_ = 0;  // 0 until the head has come
  size_t bodyStart_ = 0;
  std::string echo_;
  std::string_view reply_;  // the page or the echo
  size_t sent_ = 0;
};

bool Connection::advance() {
  if (!isReplying()) {
    if (!receive())
      return false;
    answer();
  }
  return !isReplying() || send();
}

bool Connection::receive() {
  char buffer[65536];
  for (;;) {
    const ssize_t count = recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0)
      return count < 0 && (errno == EAGAIN || errno == EINTR);
    received_ += static_cast<size_t>(count);
    if (requestSize_ == 0 || (page_.empty() && !counts_))
      request_.append(buffer, static_cast<size_t>(count));
    if (static_cast<size_t>(count) < sizeof buffer)
      return true;
  }
}

void Connection::answer() {
  if (requestSize_ == 0) {
    const size_t headSize = request_.find(kHeadEnd);
    if (headSize == request_.npos)
      return;
    bodyStart_ = headSize + kHeadEnd.size();
    requestSize_ = bodyStart_ + contentLength(std::string_view(request_).substr(0, bodyStart_));
  }
  if (received_ < requestSize_)
    return;
  const size_t bodySize = requestSize_ - bodyStart_;
  if (page_.empty())
    echo_ = replyTo(counts_ ? std::to_string(bodySize) : request_.substr(bodyStart_, bodySize));
  reply_ = page_.empty() ? echo_ : page_;
}

bool Connection::send() {
  while (sent_ < reply_.size()) {
    const ssize_t count =
        ::send(descriptor_, reply_.data() + sent_, reply_.size() - sent_, MSG_NOSIGNAL);
    if (count < 0)
      return errno == EAGAIN || errno == EINTR;
    sent_ += static_cast<size_t>(count);
  }
  return false;
}

class Server {
 public:
  explicit Server(const Options& options);
  uint16_t port() const;
  [[noreturn]] void run();

 private:
  void accept();
  void advance(Connection* connection);
  void watch(int operation, int descriptor, uint32_t events, Connection* connection);

  const std::string page_;
  const bool counts_;
  const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  const int epoll_ = epoll_create1(0);
};

Server::Server(const Options& options) : page_(replyOf(options)), counts_(options.counts) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener_, SOMAXCONN) != 0)
    quit("fast_server cannot listen");
  watch(EPOLL_CTL_ADD, listener_, EPOLLIN, nullptr);
}

uint16_t Server::port() const {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  if (getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    quit("fast_server has no port");
  return ntohs(address.sin_port);
}

void Server::run() {
  epoll_event events[64];
  for (;;) {
    const int count = epoll_wait(epoll_, events, 64, -1);
    if (count < 0 && errno != EINTR)
      quit("fast_server cannot wait");
    for (int i = 0; i < count; ++i) {
      if (events[i].data.ptr)
        advance(static_cast<Connection*>(events[i].data.ptr));
      else
        accept();
    }
  }
}

void Server::accept() {
  const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK);
  if (descriptor < 0) {
    if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED)
      quit("fast_server cannot accept");
    return;
  }
  Connection* const connection = new Connection(descriptor, page_, counts_);
  watch(EPOLL_CTL_ADD, descriptor, EPOLLIN, connection);
  advance(connection);  // the request has often come with the connection
}

void Server::advance(Connection* connection) {
  if (!connection->advance())
    delete connection;
  else if (connection->isReplying())
    watch(EPOLL_CTL_MOD, connection->descriptor(), EPOLLOUT, connection);
}

void Server::watch(int operation, int descriptor, uint32_t events, Connection* connection) {
  epoll_event event = {};
  event.events = events;
  event.data.ptr = connection;
  if (epoll_ctl(epoll_, operation, descriptor, &event) != 0)
    quit("fast_server cannot watch a connection");
}

// Ends the program for what it does not understand.
Options optionsOf(int count, const char* const* arguments) {
  Options options;
  options.counts = count == 2 && std::string_view(arguments[1]) == "--count";
  for (int i = options.counts ? 2 : 1; i < count; i += 2) {
    const std::string_view name = arguments[i];
    if (i + 1 < count && name == "--reply-bytes")
      options.bytes = std::strtoul(arguments[i + 1], nullptr, 10);
    else if (i + 1 < count && name == "--chunk")
      options.chunk = std::strtoul(arguments[i + 1], nullptr, 10);
    else if (i + 1 < count && name == "--charset")
      options.charset = arguments[i + 1];
    else
      std::exit(2);
  }
  if (options.charset != "utf-8" && options.charset != "iso-8859-1")
    std::exit(2);
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  Server server(optionsOf(argc, argv));
  std::printf("%u\n", unsigned{server.port()});
  std::fflush(stdout);
  server.run();
}
