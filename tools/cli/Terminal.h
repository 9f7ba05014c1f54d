// What the system tells of the terminals that the program talks to.
#pragma once

namespace mova::cli {

enum class Stream { In, Out, Error };

bool isTerminal(Stream stream);
bool readerGone();            // the output is a pipe that nobody reads any more, as far as the system tells
int terminalWidth();          // of the error output; 80 when it is not known
bool terminalTakesColours();  // false: escape sequences would show as such

}  // namespace mova::cli
