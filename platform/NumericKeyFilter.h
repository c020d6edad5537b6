#pragma once

#include <QObject>
#include <QString>

#include <functional>

// The keystroke filter of the numeric boxes: control keys (Backspace, Delete, Tab,
// the Ctrl shortcuts), "." and the digits pass, every other typed character is
// dropped silently. Keys that type nothing (arrows, Home) are not judged. Each
// passing key is reported, so that the program can trace it. Pasted text is not
// filtered.
class NumericKeyFilter : public QObject
{
    Q_OBJECT

public:
    // `alsoAccepted` names further characters that pass: the IP rule box takes "/",
    // which a rule such as 10.0.0.0/8 needs.
    explicit NumericKeyFilter(std::function<void()> onAccepted = {}, QObject* parent = nullptr, QString alsoAccepted = {});

    // Installs the filter on a box.
    void watch(QObject* box);
    // Whether a typed character passes.
    bool accepts(QChar typed) const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<void()> m_onAccepted;
    QString m_alsoAccepted;
};
