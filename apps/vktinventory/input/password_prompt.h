// SPDX-License-Identifier: Apache-2.0
/// @file
/// The question for the password on the process's terminal. What is typed is not shown, and the
/// terminal shows what is typed again whenever the question ends or the process is stopped in it.
#ifndef APPS_VKTINVENTORY_INPUT_PASSWORD_PROMPT_H
#define APPS_VKTINVENTORY_INPUT_PASSWORD_PROMPT_H

#include <string>

namespace Tulvo::Cli {

/// Throws NoPassword, also in the background, where nobody can be asked.
std::string PasswordFromTerminal();

/// For the thread that waits for signals, whether or not a password is being asked for; neither
/// waits for a terminal that is held with Ctrl-S.

/// Before the process ends or stops: the terminal shows what is typed.
void ShowTyping();

/// When the process goes on: what is typed is hidden again, and the question repeated.
void HideTypingAgain();

}  // namespace Tulvo::Cli

#endif
