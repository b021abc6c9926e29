// What every benchmark measures and how: wall-clock time, the process's CPU
// time, the peak resident memory of the process image, the machine's load
// beside each figure, and timed phases run in a process of their own so
// that a phase's peak memory is its own and not the builder's.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::time_point from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

// CPU time of this process, user and system.
inline double CpuNow() {
  timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

// Wall and CPU time of stretches of work, summed over Start/Stop pairs. On
// a shared machine the CPU time is the steadier figure.
// Page faults of the process so far: in a large table the first touches of
// mapped files and new arrays are a good share of what grows with its size.
inline long FaultsNow() {
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  return u.ru_minflt + u.ru_majflt;
}

struct Timer {
  double wall = 0, cpu = 0;
  long faults = 0;
  Clock::time_point w0;
  double c0 = 0;
  long f0 = 0;
  void Start() {
    w0 = Clock::now();
    c0 = CpuNow();
    f0 = FaultsNow();
  }
  void Stop() {
    cpu += CpuNow() - c0;
    wall += Seconds(w0);
    faults += FaultsNow() - f0;
  }
};

// The peak resident memory of this process image in kB: VmHWM, which
// starts again at an exec (getrusage's maxrss would carry the builder's
// peak over through fork and exec).
inline long PeakKb() {
  if (FILE *in = fopen("/proc/self/status", "r")) {
    char line[256];
    long kb = -1;
    while (fgets(line, sizeof line, in) != nullptr)
      if (strncmp(line, "VmHWM:", 6) == 0) {
        kb = strtol(line + 6, nullptr, 10);
        break;
      }
    fclose(in);
    if (kb >= 0)
      return kb;
  }
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

// CPU time and the largest peak resident memory (kB) of the children
// waited for so far.
inline double ChildCpu() {
  rusage u;
  getrusage(RUSAGE_CHILDREN, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec +
         (u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}
inline long ChildPeakKb() {
  rusage u;
  getrusage(RUSAGE_CHILDREN, &u);
  return u.ru_maxrss;
}

// The one-minute load average, to be printed beside every figure: on a
// shared machine a wall time means little without it.
inline double LoadAverage() {
  double load = -1;
  if (FILE *in = fopen("/proc/loadavg", "r")) {
    if (fscanf(in, "%lf", &load) != 1)
      load = -1;
    fclose(in);
  }
  return load;
}

inline double Median(std::vector<double> v) {
  if (v.empty())
    return 0;
  std::sort(v.begin(), v.end());
  size_t n = v.size();
  return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// One line of figures: "<what>: wall 1.234 s, CPU 1.000 s, peak 12.3 MB,
// load 1.04".
inline void PrintFigures(const char *what, const Timer &t, long peakKb) {
  printf("%s: wall %.3f s, CPU %.3f s, %ld page faults, peak resident %.1f "
         "MB, load %.2f\n",
         what, t.wall, t.cpu, t.faults, peakKb / 1024.0, LoadAverage());
  fflush(stdout);
}

// Runs this program again with `args` (argv[0] is put in front) in a process
// of its own and waits for it: answers its exit status, 1 when it did not
// exit normally.
inline int RunSelf(const char *self, std::vector<std::string> args) {
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0)
    return 1;
  if (pid == 0) {
    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(self));
    for (std::string &a : args)
      argv.push_back(a.data());
    argv.push_back(nullptr);
    execv(self, argv.data());
    _exit(127);
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid)
    return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// The path of this program, for RunSelf.
inline std::string SelfPath() {
  char buf[4096];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0)
    return std::string();
  buf[n] = '\0';
  return buf;
}

} // namespace bench
