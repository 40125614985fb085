// The log file. The calls are made within a turn of the logger (log_turn.h).
#ifndef VOR_RUNTIME_LOG_FILE_H
#define VOR_RUNTIME_LOG_FILE_H

#include <cstddef>

namespace vor {

// Sets the file's name, NULL being the default one; a relative one lies in the user's home. With
// `rotate`, a file that has grown large is moved out of the way.
void set_log_file(const char *name, bool rotate);

// Writes a line, having opened the file if it is not open.
void write_to_log_file(const char *line, size_t length);

// Writes a line if the file is open.
void write_to_open_log_file(const char *line, size_t length);

} // namespace vor

#endif
