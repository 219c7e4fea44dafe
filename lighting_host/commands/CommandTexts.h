#pragma once

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace lighting_host
{
// Texts about the command line that are made from its parser, so that they cannot differ from it.

// The manual page of a command, or of the whole program for nullptr, as roff for man(1). `app` is
// the program's parser.
std::string ManualPage(const CLI::App& app, const CLI::App* command);

// Writes the pages of the program and of each command into `folder`, as <page>.1. The folder is
// made where it is missing. Throws std::runtime_error when a page cannot be written.
void WriteManualPages(const CLI::App& app, const std::string& folder);

// The shells that CompletionScript knows.
const std::vector<std::string>& CompletionShells();

// A script that completes commands, options and their words in `shell`, one of CompletionShells().
// Throws std::invalid_argument for another.
std::string CompletionScript(const CLI::App& app, const std::string& shell);
} // namespace lighting_host
