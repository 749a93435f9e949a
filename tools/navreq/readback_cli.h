// The command-line side of `navreq dump`, `pack` and `diff`.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

#include "readback.h"

namespace navreq {
namespace tool {

void AddReadbackCommands(CLI::App& app, DumpOptions& dump, PackOptions& pack, DiffOptions& diff);

// Runs whichever of the three was parsed; 64 when none was.
[[nodiscard]] int RunReadback(const CLI::App& app, const DumpOptions& dump, const PackOptions& pack,
                              const DiffOptions& diff, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
