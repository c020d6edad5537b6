#pragma once

#include <Qt>

// Sends a keystroke to whichever control has the focus, as the Edit menu does.
class KeySender
{
public:
    virtual ~KeySender() = default;
    virtual void sendToFocus(QKeyCombination keys) = 0;
};
