// What the process's exit status says; the same for every command.
#pragma once

namespace quillonctl {

inline constexpr int ExitDone = 0;  // a reply came, the control was carried out, the reload was acknowledged
inline constexpr int ExitRefused = 1;    // no reply to a request; refused, or not done completely
inline constexpr int ExitFailed = 2;     // wrong usage, or something failed on this side
inline constexpr int ExitNoService = 3;  // no service runs there, or it doesn't answer

}  // namespace quillonctl
