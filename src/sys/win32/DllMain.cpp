// The module DLL's entry: only process attach matters, and thread attach and detach
// notifications are switched off, since the module keeps no per-thread state.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(instance);
  return TRUE;
}
