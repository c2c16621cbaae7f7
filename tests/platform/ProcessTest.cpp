// The process: its standard streams, and how it ends.
#include "platform/Process.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <new>
#include <thread>

#include "extras/String.h"
#include "tests/support/TemporaryFolder.h"

namespace quintora {

namespace {

using namespace std::chrono_literals;

// Puts another descriptor in the place of standard input.
class StandardInput {
 public:
  explicit StandardInput(int replacement) : before_(dup(STDIN_FILENO)) {
    if (replacement >= 0)
      dup2(replacement, STDIN_FILENO);
    else
      close(STDIN_FILENO);
  }
  ~StandardInput() {
    if (before_ < 0) {
      close(STDIN_FILENO);
      return;
    }
    dup2(before_, STDIN_FILENO);
    close(before_);
  }
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

 private:
  const int before_;
};

struct Pipe {
  Pipe() { isOpen = pipe(ends) == 0; }
  ~Pipe() {
    closeReader();
    closeWriter();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int reader() const { return ends[0]; }
  int writer() const { return ends[1]; }
  void closeReader() { closeEnd(ends[0]); }
  void closeWriter() { closeEnd(ends[1]); }

  bool isOpen = false;

 private:
  static void closeEnd(int& end) {
    if (end >= 0)
      close(end);
    end = -1;
  }
  int ends[2] = {-1, -1};
};

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count <= 0)
      return;
    bytes.remove_prefix(static_cast<size_t>(count));
  }
}

std::string readAll(int descriptor, std::chrono::milliseconds pause = 0ms) {
  std::string bytes;
  char buffer[16384];
  ssize_t count;
  while ((count = read(descriptor, buffer, sizeof buffer)) > 0) {
    bytes.append(buffer, static_cast<size_t>(count));
    std::this_thread::sleep_for(pause);
  }
  return bytes;
}

// Interrupts every call that waits, again and again.
void startFrequentSignal() {
  struct sigaction action = {};
  action.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often = {{0, 2000}, {0, 2000}};
  setitimer(ITIMER_REAL, &often, nullptr);
}

void stopFrequentSignal() {
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, SIG_DFL);
}

// A thread that signals leave alone.
std::thread threadWithoutSignals(std::function<void()> work) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  std::thread thread(std::move(work));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

// Bytes without a pattern that a piece lost, repeated or moved would leave as it is.
std::string largeText(size_t size) {
  std::string text(size, '\0');
  uint32_t state = 1;
  for (char& byte : text) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return text;
}

TEST(ReadStandardInput, ReadsWhatIsWantedAndTouchesNoMore) {
  const struct {
    std::string input;
    size_t wanted;
    std::string read, unread;
  } rows[] = {
      {"", 0, "", ""},
      {"", 10, "", ""},
      {"hello", 0, "", "hello"},
      {"hello", 4, "hell", "o"},
      {"hello", 5, "hello", ""},
      {"hello", 6, "hello", ""},
      {"hello", 1000, "hello", ""},
      {std::string("\0\r\n\xFF\x1A", 5), 5, std::string("\0\r\n\xFF\x1A", 5), ""},
      {"hello, world\nand more\n", 5, "hello", ", world\nand more\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.input) + ", wanted " + std::to_string(row.wanted));
    Pipe input;
    ASSERT_TRUE(input.isOpen);
    writeAll(input.writer(), row.input);
    input.closeWriter();
    std::string buffer(2000, '?');
    {
      const StandardInput replaced(input.reader());
      EXPECT_EQ(readStandardInput(buffer.data(), row.wanted), row.read.size());
    }
    EXPECT_EQ(buffer, row.read + std::string(2000 - row.read.size(), '?'));
    EXPECT_EQ(readAll(input.reader()), row.unread);
  }
}

TEST(ReadStandardInput, WaitsForAllPiecesSignalsOrNot) {
  const std::string text = largeText(300000);
  for (const bool hasSignals : {false, true}) {
    Pipe input;
    ASSERT_TRUE(input.isOpen);
    std::thread writer = threadWithoutSignals([&] {
      for (size_t start = 0; start < text.size(); start += 30000) {
        std::this_thread::sleep_for(10ms);
        writeAll(input.writer(), std::string_view(text).substr(start, 30000));
      }
      writeAll(input.writer(), "more");
    });
    std::string buffer(text.size(), '?');
    if (hasSignals)
      startFrequentSignal();
    size_t count;
    {
      const StandardInput replaced(input.reader());
      count = readStandardInput(buffer.data(), buffer.size());
    }
    stopFrequentSignal();
    input.closeReader();
    writer.join();
    EXPECT_EQ(count, text.size()) << (hasSignals ? "with signals" : "without signals");
    EXPECT_TRUE(buffer == text) << (hasSignals ? "with signals" : "without signals");
  }
}

TEST(ReadStandardInput, GivesWhatCameWhenTheInputEndsEarly) {
  Pipe input;
  ASSERT_TRUE(input.isOpen);
  std::thread writer = threadWithoutSignals([&] {
    writeAll(input.writer(), "hel");
    std::this_thread::sleep_for(20ms);
    writeAll(input.writer(), "lo");
    input.closeWriter();
  });
  std::string buffer(1000, '?');
  {
    const StandardInput replaced(input.reader());
    EXPECT_EQ(readStandardInput(buffer.data(), buffer.size()), 5u);
  }
  writer.join();
  EXPECT_EQ(buffer, "hello" + std::string(995, '?'));
}

TEST(ReadStandardInput, GivesNothingWhenReadingFails) {
  const TemporaryFolder folder;
  const int opened = open(folder.path().c_str(), O_RDONLY);
  ASSERT_GE(opened, 0);
  for (const int replacement : {-1, opened}) {
    std::string buffer(10, '?');
    {
      const StandardInput replaced(replacement);
      EXPECT_EQ(readStandardInput(buffer.data(), buffer.size()), 0u);
    }
    EXPECT_EQ(buffer, "??????????") << (replacement < 0 ? "closed" : "a folder");
  }
  close(opened);
}

// Runs the work in a process of its own that writes into the pipe, and afterwards exits with 7.
// Its reading end stays with the caller alone. Returns the process.
pid_t startChild(Pipe& output, const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    dup2(output.writer(), STDOUT_FILENO);
    output.closeReader();
    output.closeWriter();
    work();
    _exit(7);
  }
  output.closeWriter();
  return child;
}

int statusOf(pid_t child) {
  int status = -1;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

constexpr int kExitOfSeven = 7 << 8;

TEST(WriteStandardOutput, WritesAllBytesToASlowReaderSignalsOrNot) {
  for (const std::string& text :
       {std::string(), std::string("\0hello\r\n", 8), largeText(2000000)}) {
    for (const bool hasSignals : {false, true}) {
      SCOPED_TRACE(std::to_string(text.size()) + (hasSignals ? " with signals" : ""));
      Pipe output;
      ASSERT_TRUE(output.isOpen);
      const pid_t child = startChild(output, [&] {
        prepareProcess();
        if (hasSignals)
          startFrequentSignal();
        writeStandardOutput(text);
      });
      EXPECT_TRUE(readAll(output.reader(), 1ms) == text);
      EXPECT_EQ(statusOf(child), kExitOfSeven);
    }
  }
}

// How standard output takes what is written.
enum class Taking { asUsual, interrupted, littleAtATime };

void arrange(Taking taking) {
  if (taking == Taking::interrupted)
    startFrequentSignal();
  if (taking != Taking::littleAtATime)
    return;
  fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
#ifdef F_SETPIPE_SZ  // elsewhere a pipe is small enough
  fcntl(STDOUT_FILENO, F_SETPIPE_SZ, 4096);
#endif
}

TEST(WriteStandardOutput, WritesThePartsOneAfterTheOtherHoweverTheyAreTaken) {
  const std::string large = largeText(200000), other = largeText(70001).substr(1);
  const std::string page = largeText(4096);
  const struct {
    std::string first, second, third;
  } rows[] = {
      {"", "", ""},
      {"first,", "second,", "third"},
      {"", "second,", "third"},
      {"first,", "", "third"},
      {"first,", "second", ""},
      {"", "", "third"},
      {"", "second", ""},
      {"first", "", ""},
      {std::string("\0\0", 2), std::string("\0", 1), std::string("a\0", 2)},
      {"Content-type: text/plain\r\n\r\n", large, "\r\n"},
      {"", large, "\r\n"},
      {"Content-type: text/plain\r\n\r\n", large, ""},
      {large, other, large},
      {large, "", other},
      // Ends of parts at the ends of what is taken at once, and right beside them.
      {page, page, page},
      {page, page.substr(1), page.substr(2)},
      {page + "x", page + "y", page + "z"},
      {page.substr(1), "x", page + page},
      {page.substr(2), "x", page + page},
  };
  for (const auto& row : rows) {
    for (const Taking taking : {Taking::asUsual, Taking::interrupted, Taking::littleAtATime}) {
      SCOPED_TRACE(std::to_string(row.first.size()) + ", " + std::to_string(row.second.size()) +
                   " and " + std::to_string(row.third.size()) + " bytes, taken in way " +
                   std::to_string(static_cast<int>(taking)));
      Pipe output;
      ASSERT_TRUE(output.isOpen);
      const pid_t child = startChild(output, [&] {
        prepareProcess();
        arrange(taking);
        writeStandardOutput(row.first, row.second, row.third);
      });
      EXPECT_TRUE(readAll(output.reader(), 1ms) == row.first + row.second + row.third);
      EXPECT_EQ(statusOf(child), kExitOfSeven);
    }
  }
}

TEST(WriteStandardOutput, WritesFewerPartsThanThree) {
  const struct {
    const char* what;
    std::function<void()> write;
    std::string written;
  } rows[] = {
      {"none", [] { writeStandardOutput(""); }, ""},
      {"one", [] { writeStandardOutput("first"); }, "first"},
      {"two", [] { writeStandardOutput("first,", "second"); }, "first,second"},
      {"one after the other",
       [] {
         writeStandardOutput("first,");
         writeStandardOutput("second");
       },
       "first,second"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Pipe output;
    ASSERT_TRUE(output.isOpen);
    const pid_t child = startChild(output, row.write);
    EXPECT_EQ(readAll(output.reader()), row.written);
    EXPECT_EQ(statusOf(child), kExitOfSeven);
  }
}

TEST(WriteStandardOutput, ReturnsWhenTheReaderIsGone) {
  const std::string text = largeText(2000000);
  for (const size_t taken : {size_t{0}, size_t{100}}) {
    Pipe output;
    ASSERT_TRUE(output.isOpen);
    Pipe start;  // holds the child until its reader is as the row has it
    const pid_t child = startChild(output, [&] {
      start.closeWriter();
      readAll(start.reader());
      prepareProcess();
      writeStandardOutput(text);
    });
    start.closeReader();
    if (taken == 0)
      output.closeReader();
    start.closeWriter();
    if (taken > 0) {
      std::string buffer(taken, '?');
      EXPECT_EQ(read(output.reader(), buffer.data(), taken), static_cast<ssize_t>(taken));
      EXPECT_EQ(buffer, text.substr(0, taken));
      output.closeReader();
    }
    EXPECT_EQ(statusOf(child), kExitOfSeven) << "closed after " << taken;
  }
}

TEST(WriteStandardOutput, ReturnsWhenThereIsNoOutput) {
  Pipe output;
  ASSERT_TRUE(output.isOpen);
  const pid_t child = startChild(output, [] {
    close(STDOUT_FILENO);
    prepareProcess();
    writeStandardOutput("hello");
  });
  EXPECT_EQ(statusOf(child), kExitOfSeven);
  EXPECT_EQ(readAll(output.reader()), "");
}

TEST(EndProcess, EndsAtOnceWithStatus0) {
  Pipe output;
  ASSERT_TRUE(output.isOpen);
  const pid_t child = startChild(output, [] {
    writeStandardOutput("written");
    endProcess();
  });
  EXPECT_EQ(readAll(output.reader()), "written");
  EXPECT_EQ(statusOf(child), 0);
}

TEST(ExecutionError, SaysWhyAFileCannotBeExecuted) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "program.cgi";
  EXPECT_EQ(executionError(file.c_str()), ENOENT);
  writeFile(file, "#!/bin/sh\n");
  EXPECT_EQ(executionError(file.c_str()), EACCES);
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  EXPECT_EQ(executionError(file.c_str()), 0);
  EXPECT_EQ(executionError((file / "below").c_str()), ENOTDIR);
  EXPECT_EQ(executionError(folder.path().c_str()), EISDIR);
  const std::filesystem::path pipe = folder.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0700), 0);
  EXPECT_EQ(executionError(pipe.c_str()), EACCES);
}

TEST(SystemSentence, IsTheSystemsWithoutAFullStop) {
  EXPECT_EQ(systemSentence(ENOENT), "No such file or directory");
  EXPECT_EQ(systemSentence(ECONNREFUSED), "Connection refused");
}

// What a visitor can bring about must not fill a disk, nor leave a request where others read it.
TEST(PrepareProcess, AnAbnormalEndLeavesNeitherOutputNorACoreFile) {
  const struct {
    const char* what;
    std::function<void()> end;
  } rows[] = {
      {"raiseException", [] { raiseException(); }},
      {"no memory", [] { endWithoutMemory(); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const TemporaryFolder folder;
    Pipe output;
    ASSERT_TRUE(output.isOpen);
    const pid_t child = startChild(output, [&] {
      rlimit limit = {};
      getrlimit(RLIMIT_CORE, &limit);
      limit.rlim_cur = limit.rlim_max = geteuid() == 0 ? RLIM_INFINITY : limit.rlim_max;
      if (chdir(folder.path().c_str()) != 0 || setrlimit(RLIMIT_CORE, &limit) != 0)
        _exit(1);
      prepareProcess();
      row.end();
    });
    EXPECT_EQ(readAll(output.reader()), "");
    const int status = statusOf(child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;
    EXPECT_FALSE(WCOREDUMP(status));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

// What operator new calls, the system's own included, and what has memory of another kind calls.
TEST(AnswerWhenOutOfMemory, EndsInAWholeResponseAndStatus0) {
  for (void (*lacking)() : {+[] { std::get_new_handler()(); }, +[] { endWithoutMemory(); }}) {
    Pipe output;
    ASSERT_TRUE(output.isOpen);
    const pid_t child = startChild(output, [=] {
      prepareProcess();
      answerWhenOutOfMemory("Content-type: text/plain\r\n\r\n", "None left.");
      lacking();
    });
    EXPECT_EQ(readAll(output.reader()), "Content-type: text/plain\r\n\r\nNone left.\r\n");
    EXPECT_EQ(statusOf(child), 0);
  }
}

}  // namespace

}  // namespace quintora
