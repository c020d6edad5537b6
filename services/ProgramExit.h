#pragma once

struct AppContext;

enum class ExitMode {
    Ask,    // ask "Are you sure you want to exit Quillmere?" first
    AtOnce, // end without a question
};

// The one way the program ends: removes the tray icon and ends the process at
// once. Returns false when the administrator chose to go on. When it returns true
// the process has ended (only test doubles return), and the caller returns too.
bool exitProgram(AppContext& context, ExitMode mode);

// The end after the database could not be reached and the administrator gave up:
// red tray icon, the critical message, then the end without a question.
void endAfterConnectionFailure(AppContext& context);
