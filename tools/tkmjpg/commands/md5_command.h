// tkmjpg md5: the checksum of the decoded frames.
#pragma once

#include <string>

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/commands/decode_options.h"

namespace tkmjpg::tool {

void AddMd5Command(const CommandLine& line);

// Throws InputError if the decoded frames, raw in `layout`, have another checksum than `wanted`.
void VerifyMd5(const DecodeOptions& options, const std::string& layout, const std::string& wanted);

}  // namespace tkmjpg::tool
