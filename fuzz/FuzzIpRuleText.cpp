// A rule text is typed or pasted by the administrator and read by the FTP
// server's handler: neither judgement may fail on any text, and an accepted
// rule is one the handler can apply.
#include "companions/gatewick/AuthRules.h"
#include "server/IpRuleText.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const IpTextVerdict verdict = validateIpText(text);
    if (verdict == IpTextVerdict::Empty && !text.isEmpty())
        std::abort();
    if (verdict == IpTextVerdict::Accepted && text.count(QLatin1Char('.')) != 3)
        std::abort();
    (void)gatewick::ipRuleMatches(text, QStringLiteral("192.168.1.10"));
    (void)gatewick::ipRuleMatches(QStringLiteral("10.0.0.0/8"), text);
    return 0;
}
