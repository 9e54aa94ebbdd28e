#pragma once
// The machine the compiled-in worker routines run on, as a test scripts it: the processors
// the process may use, what their identification registers say, and faults to inject. The
// operating-system calls are the real ones but for four, which the linker routes here
// (--wrap, see CMakeLists.txt): reading the process's affinity, pinning a thread (two calls)
// and waiting for an event. The identification primitive is this file's own.
#include <cstdint>
#include <mutex>
#include <vector>

namespace ProcessorTest {

// What identification reads on every processor.
struct ScriptedProcessor {
  uint32_t family = 6, model = 5, stepping = 3;
  bool hyperThreading = false;     // leaf 1, EDX bit 28
  uint32_t logicalPerPackage = 1;  // leaf 1, EBX bits 16-23
  uint32_t coresPerPackage = 1;    // leaf 4, EAX bits 26-31, plus one
  unsigned answerDelayMs = 0;      // time each identification takes
};

struct FakeMachine {
  bool scripted = false;  // false: every call goes to the real OS
  bool affinityReadable = true;
  uint64_t affinity = 0;         // the process's processors, one bit each
  uint64_t failPinning = 0;      // pinning to any of these processors fails
  bool workerWaitsFail = false;  // waits on threads other than the test's own fail
  ScriptedProcessor processor;

  // Recorded: the masks threads were pinned to, by Thread::SetAffinity and by the thread itself.
  std::mutex mutex;
  std::vector<uint64_t> pinned, pinnedThemselves;
};

// The one machine of the process, reset by the next Reset().
FakeMachine& Machine();
// Back to the real machine, recordings cleared; the calling thread is the test's own.
void ResetMachine();

}  // namespace ProcessorTest
