// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace varnel::ActivationToken {

/// Lets the next window come to the front, as the program may that gave the token. Does nothing for an empty token, or
/// where windows need none. On the main thread.
void use(const QString& token);

}  // namespace varnel::ActivationToken
