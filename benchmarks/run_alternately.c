/* Runs commands by turns, so that whatever else the machine does hits all of them alike. The order
 * changes from round to round: a program is faster behind one that leaves the processor's caches
 * filled with what it needs, too, and a fixed order would give that to the same one every time.
 *
 *   run_alternately ROUNDS INPUT -- PROGRAM [ARGUMENT...] [-- PROGRAM [ARGUMENT...]]...
 *
 * Each run gets the file INPUT as its standard input, and its output is read from a pipe until its
 * end, as a web server does. Prints a line for each run: which command, from 0, the nanoseconds
 * from its start to its end, its peak memory in KiB, its page faults and the bytes of its output.
 * Ends with a message and status 1 when a command fails, or does not print what it has printed the
 * first time (of a long output, the length and the first 64 KiB).
 *
 * A program in C, and a small one, because a new process begins with the peak memory of the one
 * that starts it. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { MOST_COMMANDS = 16, START_BYTES = 65536 };

struct answer {
  char start[START_BYTES];
  size_t size;
};

extern char** environ;

static struct answer firsts[MOST_COMMANDS], current;
static char rest[START_BYTES];

static _Noreturn void quit(const char* what, const char* which) {
  fprintf(stderr, "run_alternately: %s: %s\n", what, which);
  exit(1);
}

static long long now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static void read_answer(int descriptor) {
  current.size = 0;
  for (;;) {
    const size_t room = current.size < START_BYTES ? START_BYTES - current.size : 0;
    const ssize_t count = room > 0 ? read(descriptor, current.start + current.size, room)
                                   : read(descriptor, rest, sizeof rest);
    if (count <= 0)
      return;
    current.size += (size_t)count;
  }
}

static int is_answer(const struct answer* first) {
  const size_t size = current.size < START_BYTES ? current.size : START_BYTES;
  return current.size == first->size && memcmp(current.start, first->start, size) == 0;
}

static void run(int index, char** command, const char* input, int is_first) {
  int ends[2], status;
  pid_t process;
  struct rusage usage;
  posix_spawn_file_actions_t actions;
  if (pipe2(ends, O_CLOEXEC) != 0)
    quit("no pipe for", *command);
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input, O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);

  const long long start = now();
  if (posix_spawn(&process, *command, &actions, NULL, command, environ) != 0)
    quit("does not start", *command);
  close(ends[1]);
  read_answer(ends[0]);
  if (wait4(process, &status, 0, &usage) != process)
    quit("is lost", *command);
  const long long end = now();

  close(ends[0]);
  posix_spawn_file_actions_destroy(&actions);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    quit("fails", *command);
  if (is_first)
    firsts[index] = current;
  if (!is_answer(&firsts[index]))
    quit("answers differently", *command);
  printf("%d %lld %ld %ld %zu\n", index, end - start, usage.ru_maxrss, usage.ru_minflt,
         current.size);
}

static void shuffle(int* order, int count) {
  for (int last = count - 1; last > 0; --last) {
    const int other = (int)(random() % (last + 1));
    const int moved = order[last];
    order[last] = order[other];
    order[other] = moved;
  }
}

int main(int count, char** arguments) {
  char** commands[MOST_COMMANDS];
  int order[MOST_COMMANDS];
  int commandCount = 0;
  for (int i = 3; i + 1 < count; ++i) {
    if (strcmp(arguments[i], "--") == 0) {
      if (commandCount == MOST_COMMANDS)
        quit("too many commands", arguments[i + 1]);
      arguments[i] = NULL;
      order[commandCount] = commandCount;
      commands[commandCount++] = arguments + i + 1;
    }
  }
  if (commandCount == 0)
    quit("no command", "see its first lines");
  for (int round = 0; round < atoi(arguments[1]); ++round) {
    for (int turn = 0; turn < commandCount; ++turn)
      run(order[turn], commands[order[turn]], arguments[2], round == 0);
    shuffle(order, commandCount);
  }
  return 0;
}
