// All tests in one process, with a registry of plugins that is made for them and gone with them.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/temporary_folder.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const TemporaryFolder folder;
  setenv("GST_REGISTRY", folder.Path("registry.bin").c_str(), 1);
  setenv("GST_PLUGIN_PATH", TKMJPG_PLUGIN_FOLDER, 1);
  // The scanner of its own process could not load a plugin that is built with sanitizers.
  setenv("GST_REGISTRY_FORK", "no", 1);
  gst_init(nullptr, nullptr);
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
