// Standard output of the subcommands that tell something. What cannot be written is an error.
#pragma once

namespace tkmjpg::tool {

// As printf. Throws InputError.
[[gnu::format(printf, 1, 2)]] void Print(const char* format, ...);

// To be called at the end: only now the system may say that the device is full.
void FlushPrinted();

}  // namespace tkmjpg::tool
