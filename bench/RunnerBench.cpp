// One tool run through the platform's runner, against a bare posix_spawn, pipe read and waitpid of
// the same program.

#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <TLXX/System.h>

extern char** environ;

namespace {

constexpr const char* PROGRAM = "/bin/echo";

void RunOurs(benchmark::State& state) {
  std::string output;
  for (auto _ : state) {
    if (TLXX::CSystem::ExecuteCommand(PROGRAM, "show -all -o json -torvex", output) != 1) {
      state.SkipWithError("the program did not run");
      return;
    }
    benchmark::DoNotOptimize(output.data());
  }
}

std::string SpawnAndRead() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  char program[] = "/bin/echo";
  char show[] = "show";
  char all[] = "-all";
  char o[] = "-o";
  char json[] = "json";
  char torvex[] = "-torvex";
  char* arguments[] = {program, show, all, o, json, torvex, nullptr};
  pid_t child = 0;
  const int failed = posix_spawn(&child, PROGRAM, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  if (failed != 0) throw std::runtime_error("posix_spawn");
  std::string output;
  char buffer[65536];
  for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    output.append(buffer, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return output;
}

void RunYardstick(benchmark::State& state) {
  for (auto _ : state) {
    const std::string output = SpawnAndRead();
    benchmark::DoNotOptimize(output.data());
  }
}

BENCHMARK(RunOurs)->Name("tool run/ours")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(RunYardstick)->Name("tool run/yardstick")->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
