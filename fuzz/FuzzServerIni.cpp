// The server's INI file may hold anything: the edit must never lose a byte of it,
// and a registered file must stay as it is.
#include "server/ServerIni.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray content(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const serverini::Edit edit = serverini::registerPlugin(content);
    switch (edit.change) {
    case serverini::Change::AddedSection:
        // The old text follows the new section whole.
        if (edit.text != QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n") + content + "\r\n")
            std::abort();
        break;
    case serverini::Change::AddedLine: {
        // Taking the added lines out gives back every old line.
        QByteArray restored = edit.text;
        restored.replace("\r\nClientCheckDLL1=Gatewick.dll\r\n", "\r\n");
        if (restored != content + "\r\n\r\n" && !content.contains("ClientCheckDLL1=Gatewick.dll"))
            std::abort();
        break;
    }
    case serverini::Change::AlreadyRegistered:
        if (!edit.text.isEmpty())
            std::abort();
        break;
    }
    // Once registered, the file is left alone.
    if (!edit.text.isEmpty() && serverini::registerPlugin(edit.text).change != serverini::Change::AlreadyRegistered)
        std::abort();
    return 0;
}
