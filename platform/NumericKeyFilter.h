#pragma once

#include <QObject>

#include <functional>

// The keystroke filter of the numeric boxes: control keys, "." and "/" and the
// digits pass, every other typed character is dropped silently. Each passing key is
// reported, so that the program can trace it. Pasted text is not filtered.
class NumericKeyFilter : public QObject
{
    Q_OBJECT

public:
    explicit NumericKeyFilter(std::function<void()> onAccepted = {}, QObject* parent = nullptr);

    // Installs the filter on a box.
    void watch(QObject* box);
    // Whether a typed character passes: codes below 31, ".", "/" and "0" to "9".
    static bool accepts(QChar typed);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<void()> m_onAccepted;
};
