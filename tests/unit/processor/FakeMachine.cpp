#include "FakeMachine.h"

#include <thread>

#include "processor/CPUInternalFunc.h"
#include "sys/Event.h"
#include "sys/Thread.h"

namespace ProcessorTest {

namespace {

FakeMachine machine;
std::thread::id testThread;

bool PinningFails(uint64_t mask) {
  return (mask & machine.failPinning) != 0 || (mask & ~machine.affinity) != 0;
}

}  // namespace

FakeMachine& Machine() {
  return machine;
}

void ResetMachine() {
  const std::lock_guard<std::mutex> lock(machine.mutex);
  machine.scripted = false;
  machine.affinityReadable = true;
  machine.affinity = 0;
  machine.failPinning = 0;
  machine.workerWaitsFail = false;
  machine.processor = ScriptedProcessor{};
  machine.pinned.clear();
  machine.pinnedThemselves.clear();
  testThread = std::this_thread::get_id();
}

}  // namespace ProcessorTest

using ProcessorTest::machine;

// The wrapped calls, by their mangled names; __real_ names reach the OS.
extern "C" {

bool __real__ZN3Sys22GetProcessAffinityMaskERmS0_(uint64_t& process, uint64_t& system);
bool __wrap__ZN3Sys22GetProcessAffinityMaskERmS0_(uint64_t& process, uint64_t& system) {
  if (!machine.scripted) return __real__ZN3Sys22GetProcessAffinityMaskERmS0_(process, system);
  process = system = machine.affinity;
  return machine.affinityReadable;
}

// Pinned nowhere for real: the scripted processors need not exist.
bool __real__ZN3Sys6Thread11SetAffinityEm(Sys::Thread* thread, uint64_t mask);
bool __wrap__ZN3Sys6Thread11SetAffinityEm(Sys::Thread* thread, uint64_t mask) {
  if (!machine.scripted) return __real__ZN3Sys6Thread11SetAffinityEm(thread, mask);
  const std::lock_guard<std::mutex> lock(machine.mutex);
  machine.pinned.push_back(mask);
  return !ProcessorTest::PinningFails(mask);
}

bool __real__ZN3Sys24SetCurrentThreadAffinityEm(uint64_t mask);
bool __wrap__ZN3Sys24SetCurrentThreadAffinityEm(uint64_t mask) {
  if (!machine.scripted) return __real__ZN3Sys24SetCurrentThreadAffinityEm(mask);
  const std::lock_guard<std::mutex> lock(machine.mutex);
  machine.pinnedThemselves.push_back(mask);
  return !ProcessorTest::PinningFails(mask);
}

Sys::Event::WaitResult __real__ZN3Sys5Event4WaitEj(Sys::Event* event, uint32_t timeoutMs);
Sys::Event::WaitResult __wrap__ZN3Sys5Event4WaitEj(Sys::Event* event, uint32_t timeoutMs) {
  if (machine.workerWaitsFail && std::this_thread::get_id() != ProcessorTest::testThread) {
    return Sys::Event::WaitResult::Failed;
  }
  return __real__ZN3Sys5Event4WaitEj(event, timeoutMs);
}

}  // extern "C"

namespace Module::PlatformConfig {

// The scripted processor's registers: the leaves identification reads, cache levels 1 and 2.
int ReadProcessorIdRegisters(uint32_t block[4]) {
  enum { kEax, kEbx, kEcx, kEdx };
  const ProcessorTest::ScriptedProcessor& p = machine.processor;
  const uint32_t leaf = block[kEax];
  const uint32_t subLeaf = block[kEcx];
  block[kEax] = block[kEbx] = block[kEcx] = block[kEdx] = 0;
  if (leaf == 0) {
    // Slow as the script says, waiting where a worker ended meanwhile can end cleanly.
    if (p.answerDelayMs != 0) Sys::Event::CreateManualReset().Wait(p.answerDelayMs);
    block[kEax] = 0x0B;  // the highest leaf
  } else if (leaf == 1) {
    block[kEax] = p.stepping | (p.model << 4) | (p.family << 8);
    block[kEbx] = p.logicalPerPackage << 16;
    block[kEdx] = p.hyperThreading ? 1u << 28 : 0;
  } else if (leaf == 4 && subLeaf < 2) {
    block[kEax] = (subLeaf + 1) | ((p.coresPerPackage - 1) << 26);  // data, then unified cache
  }
  return 1;
}

}  // namespace Module::PlatformConfig
