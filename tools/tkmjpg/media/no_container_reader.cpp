#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/container_reader.h"

namespace tkmjpg::tool {

std::unique_ptr<ContainerReader> OpenContainer(std::shared_ptr<const ByteSource>,
                                               const std::string& name,
                                               const ContainerName& container) {
  throw InputError(name + ": is " + container.name +
                   ", which this tkmjpg was built without: build it where libavformat-dev is");
}

std::string ContainerLibrary() { return "built without libavformat"; }

}  // namespace tkmjpg::tool
