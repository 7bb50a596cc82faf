// SPDX-License-Identifier: BSD-2-Clause
//
// Standard streams that a caller closed, for both commands.
#ifndef LUMAGAUGE_COMMANDS_STANDARD_STREAMS_H
#define LUMAGAUGE_COMMANDS_STANDARD_STREAMS_H

#include <fcntl.h>
#include <unistd.h>

namespace lumagauge {

/// Opens on /dev/null whichever of the descriptors 0 to 2 are closed. Otherwise the next file to be
/// opened would become standard output, say, and what is printed land in it. Each is opened the
/// wrong way round, so that its use still fails as that of a closed one does and is noticed. To be
/// called before anything is opened.
inline void occupyClosedStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
    if (fcntl(stream, F_GETFD) == -1)
      open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY); // takes the lowest free one
}

} // namespace lumagauge

#endif
