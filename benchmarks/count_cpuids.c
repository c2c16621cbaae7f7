/* What CPUID instructions cost a program: how many it executes, and what one takes.
 *
 *   count_cpuids PROGRAM [ARGUMENT...]
 *
 * Runs the program one instruction after the other and prints the number of CPUIDs among them and
 * the nanoseconds that one takes here. A virtual machine is left for each, so it may be a hundred
 * times as many as elsewhere. For x86_64. Ends with status 1 when the program fails. */
#include <cpuid.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { CPUID_BYTES = 0xA20F, BATCHES = 15, PER_BATCH = 500 };

static _Noreturn void quit(const char* what) {
  fprintf(stderr, "count_cpuids: %s\n", what);
  exit(1);
}

static pid_t started(char** command) {
  const pid_t process = fork();
  if (process == 0) {
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    ptrace(PTRACE_TRACEME, 0, NULL, NULL);
    execv(*command, command);
    _exit(127);
  }
  return process;
}

static int is_at_cpuid(pid_t process) {
  const long at = ptrace(PTRACE_PEEKUSER, process, offsetof(struct user, regs.rip), NULL);
  return (ptrace(PTRACE_PEEKTEXT, process, at, NULL) & 0xFFFF) == CPUID_BYTES;
}

static int counted(char** command) {
  int count = 0, status;
  const pid_t process = started(command);
  while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
    count += is_at_cpuid(process);
    if (ptrace(PTRACE_SINGLESTEP, process, NULL, NULL) != 0)
      quit("the program cannot be run step by step");
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    quit("the program fails");
  return count;
}

static long long now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static int compare(const void* a, const void* b) {
  const long long one = *(const long long*)a, other = *(const long long*)b;
  return (one > other) - (one < other);
}

/* The median of some batches, so that nothing else the machine does is in it. */
static double nanoseconds_of_one(void) {
  long long times[BATCHES];
  for (int batch = 0; batch < BATCHES; ++batch) {
    const long long start = now();
    for (int i = 0; i < PER_BATCH; ++i) {
      unsigned a, b, c, d;
      __cpuid_count(4, 0, a, b, c, d); /* of the caches, what is asked for most */
    }
    times[batch] = now() - start;
  }
  qsort(times, BATCHES, sizeof *times, compare);
  return (double)times[BATCHES / 2] / PER_BATCH;
}

int main(int count, char** arguments) {
  if (count < 2)
    quit("no program");
  printf("%d %.0f\n", counted(arguments + 1), nanoseconds_of_one());
  return 0;
}
