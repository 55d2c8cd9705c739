// SPDX-License-Identifier: MIT
//
// What the tool prints, and where: results on standard output, everything else on standard error.
#pragma once

#include <string>
#include <string_view>

namespace varnel::cli {

/// Bytes made fit for a terminal: control characters, marks that turn the direction of writing, and bytes that are
/// not UTF-8 appear escaped ("\n", "\x1B", "\u{202E}", "\xFF"), so that no name can forge a line or drive the terminal.
std::string escapedForTerminal(std::string_view bytes);

namespace Output {

/// A name or path as it is shown on standard output, or on standard error: escaped on a terminal, else repaired UTF-8.
std::string shown(std::string_view bytes);
std::string shownInMessage(std::string_view bytes);

/// Prints a result as it stands.
void result(std::string_view text);

/// Prints "varnel: ", the message and a line feed on standard error.
void message(std::string_view text);

/// Prints a text on standard error as it stands, for example a question.
void aside(std::string_view text);

/// Sends on what was printed so far, for whoever reads along. False where a part of the results could not be written,
/// now or before: nobody reads what follows.
bool flush();

/// The same at the end, with a line on standard error that says why; none where the reader closed the pipe.
bool finish();

}  // namespace Output

namespace Terminal {

/// Whether a person can be asked: standard input and standard error are terminals.
bool canAsk();

/// Asks on standard error and reads one line. True for "y" or "yes" in any case; false for anything else, and where
/// what was printed before could not be written.
bool ask(std::string_view question);

}  // namespace Terminal
}  // namespace varnel::cli
