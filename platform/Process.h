// The process that the web server started: its end, its standard streams.
#pragma once

#include <cstddef>
#include <string_view>

#include "extras/String.h"

namespace quintora {

// Arranges how the process may end: writing to a reader that is gone, or to a file beyond its
// limit, is an error value and not a signal; an abnormal end, which a visitor can cause at will,
// leaves no core file.
void prepareProcess();

// Lets memory that runs out end in a response of this header and this text, and status 0. Both stay
// where they are.
void answerWhenOutOfMemory(const char* header, const char* text);

// Ends the run as the new-handler (std::set_new_handler) does, which must not return; without one
// abnormally. For memory that is not asked for by operator new.
[[noreturn]] void endWithoutMemory();

// Reads until `count` bytes have come, the input ends or reading fails. Returns how many came;
// bytes beyond `count` stay unread. Only the bytes that came are touched in the buffer.
size_t readStandardInput(char* buffer, size_t count);

// Lets the web server know that nobody will read the rest of the input, and drops what of it is
// here already. There is no input from then on.
void endStandardInput();

// Writes the texts one after the other and together; what cannot be written is lost, for there is
// nobody left to tell.
void writeStandardOutput(std::string_view first, std::string_view second = {},
                         std::string_view third = {});

// Whether standard output is a terminal, and not a file or a pipe.
bool isTerminalOutput();

// Sets an environment variable of this process, or removes it for a null value.
void setEnvironmentVariable(const char* name, const char* value);

// Why this user cannot execute the file, as an error of the system; 0 when nothing is in the way.
int executionError(const char* path);

// The system's sentence for an error, without a full stop.
String systemSentence(int error);

// Ends the process at once with status 0. What memory it holds goes back to the system as a whole,
// so nothing has to be released before.
[[noreturn]] void endProcess();

}  // namespace quintora
