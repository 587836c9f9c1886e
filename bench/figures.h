// The measurements, each of which prints its figures as lines "name<TAB>value".
#pragma once

#include <set>
#include <string>

namespace ulmar::bench {

void print(const std::string& name, double value);

/// Row kernels against the limit, and transforms against FFTW. Takes Google Benchmark's
/// options.
void measureKernels(int argc, char** argv);

/// The stages of an engine's block beside the cost model of plans.
void measureStages();

/// Streams beside their peers: over the workloads named, as Workload::name(), or over
/// the whole table and from one length of response to another if none is.
void measureBlocks(const std::set<std::string>& only);

/// The instructions of every boundary of blocks. Only in callgrind, which writes them.
void countInstructions(const std::set<std::string>& only);

/// The cost over the response's length, and of successive blocks, for the pictures.
void measureCurves();

/// UlmarProc beside its engine alone; streams per core, and what they hold of memory.
void measureStreams();

}  // namespace ulmar::bench
