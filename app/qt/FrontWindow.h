// SPDX-License-Identifier: MIT
#pragma once

class QWidget;

namespace varnel::FrontWindow {

/// Brings a window to the front, whatever other program the person was at, and has it take what is typed.
///
/// A window manager of X11 tells a program that was clicked in somebody else's bar from one that pushes itself forward
/// by the time of its latest click, and ours knows of none: so the request is made as a bar makes it. Under Wayland the
/// token of the click, where the bar gave us one, speaks for it.
void bring(QWidget& window);

}  // namespace varnel::FrontWindow
