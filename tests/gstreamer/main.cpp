// All tests in one process, with a registry of plugins that is made for them and gone with them.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/temporary_folder.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>

#define TKMJPG_EXPORTED extern "C" __attribute__((visibility("default")))
// What GLib and fonts keep for the whole process; whole stacks are needed to tell.
TKMJPG_EXPORTED const char* __asan_default_options() { return "fast_unwind_on_malloc=0"; }
TKMJPG_EXPORTED const char* __lsan_default_suppressions() {
  return "leak:call_init\nleak:libfontconfig\n";
}
#else
#define __lsan_disable()
#define __lsan_enable()
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const TemporaryFolder folder;
  setenv("GST_REGISTRY", folder.Path("registry.bin").c_str(), 1);
  setenv("GST_PLUGIN_PATH", TKMJPG_PLUGIN_FOLDER, 1);
  // The scanner of its own process could not load a plugin that is built with sanitizers.
  setenv("GST_REGISTRY_FORK", "no", 1);
  __lsan_disable();  // every plugin of the system is loaded once, and some keep memory
  gst_init(nullptr, nullptr);
  __lsan_enable();
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
