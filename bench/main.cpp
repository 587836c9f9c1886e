// Measures the library beside the limits of the machine and beside its peers, and
// prints one figure a line. Takes the sections to measure (all but "instructions"
// without any), workloads as "2x2/6/128" to confine "blocks" and "instructions" to, and
// Google Benchmark's options.
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <string_view>

#include "bench/figures.h"

namespace ulmar::bench {
namespace {

// Threads of the process take turns on one processor, so that its clock is exact, and
// waiting for one another costs nobody.
void stayOnOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

bool isWorkload(std::string_view argument) {
  return argument.find('x') != argument.npos && argument.find('/') != argument.npos &&
         !argument.starts_with('-');
}

bool asksFor(int argc, char** argv, std::string_view section) {
  bool any = false;
  for (int k = 1; k < argc; ++k) {
    if (argv[k] == section) return true;
    any = any || argv[k][0] != '-';
  }
  return !any;
}

std::set<std::string> workloads(int argc, char** argv) {
  std::set<std::string> names;
  std::copy_if(argv + 1, argv + argc, std::inserter(names, names.end()), isWorkload);
  return names;
}

}  // namespace

void print(const std::string& name, double value) {
  std::printf("%s\t%.6g\n", name.c_str(), value);
  std::fflush(stdout);
}

}  // namespace ulmar::bench

int main(int argc, char** argv) {
  using namespace ulmar::bench;
  try {
    stayOnOneProcessor();
    if (asksFor(argc, argv, "kernels")) measureKernels(argc, argv);
    if (asksFor(argc, argv, "stages")) measureStages();
    if (asksFor(argc, argv, "blocks")) measureBlocks(workloads(argc, argv));
    if (asksFor(argc, argv, "curves")) measureCurves();
    if (asksFor(argc, argv, "streams")) measureStreams();
    if (argc > 1 && asksFor(argc, argv, "instructions")) {
      countInstructions(workloads(argc, argv));
    }
  } catch (const std::exception& error) {
    std::cerr << "ulmar_bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
