// The process that the web server started: its signals, its standard streams, its end.
#pragma once

#include <cstddef>
#include <string_view>

#include "extras/String.h"

namespace quintora {

// Makes a write to a closed pipe, or beyond a file's size limit, return an error instead of raising
// a signal. Keeps an abnormal end, which a visitor can cause at will, from leaving a core file.
void prepareProcess();

// When memory runs out, the process prints a response of this header and this text and ends with
// status 0. Both strings must live as long as the process.
void answerWhenOutOfMemory(const char* header, const char* text);

// Ends the run by the new-handler (std::set_new_handler), which must not return, or abnormally when
// there is none. For memory that is not allocated by operator new.
[[noreturn]] void endWithoutMemory();

// Reads until `count` bytes have come, the input ends or reading fails. Returns how many came;
// bytes beyond `count` stay unread. Only the bytes that came are touched in the buffer.
size_t readStandardInput(char* buffer, size_t count);

// Tells the web server that the rest of the input will not be read, and discards what of it has
// arrived already. Standard input is unusable from then on.
void endStandardInput();

// Writes the texts one after the other, with as few calls as possible. Errors are ignored: there is
// nobody left to report them to.
void writeStandardOutput(std::string_view first, std::string_view second = {},
                         std::string_view third = {});

// Whether standard output is a terminal.
bool isTerminalOutput();

// Sets an environment variable of this process, or removes it for a null value.
void setEnvironmentVariable(const char* name, const char* value);

// The errno value that says why this user cannot execute the file; 0 when nothing is in the way.
int executionError(const char* path);

// Where the link at this path leads; absent when it is not a link, or cannot be read.
String targetOfLink(const char* path);

// The system's sentence for an error, without a full stop.
String systemSentence(int error);

// Ends the process at once with status 0. The system takes back all memory as a whole, so nothing
// is freed before.
[[noreturn]] void endProcess();

}  // namespace quintora
