// TNEF: the format in which some mail programs wrap all attachments of a message into one, "winmail.dat". It is read by
// the external program `tnef`, the one that the variable PW_TNEF names, or else Contents/SharedSupport/bin/tnef beside the
// application.
//
// The preference "PwTNEFSaveBodies" has the text in it extracted, too; "PwDebugTNEF" traces on standard error.
#pragma once

#include <cstddef>

#include <kel/run_command.h>
#include <kelmime/body.h>

namespace kel {

// By type, or for a part without a useful type by file name: winmail.dat, win.dat, *.tnef.
bool is_tnef(body_part_t& part);

// Of the program, to unpack one part.
inline constexpr std::size_t runs_per_tnef = 2;

// Unpacks a part into a child, once: a note for the reader and, where something was extracted, the files as attachments
// beside it. The bytes of the part stay, so that it is still written as it came. A run that fails and a file that cannot be
// taken give warnings; what was extracted until then is there. The limits are those of each run; `captured_bytes` bounds
// what the files hold together, too.
void unpack_tnef(body_part_t& part, command_limits_t const& limits);

}  // namespace kel
