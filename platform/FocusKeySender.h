#pragma once

#include "platform/KeySender.h"

// Posts a key press and release to the widget that has the keyboard focus.
class FocusKeySender final : public KeySender
{
public:
    void sendToFocus(QKeyCombination keys) override;
};
