#pragma once

#include <QString>
#include <QUrl>

struct AppContext;

// The manual beside the program and the product's web page.
namespace help {

inline const QString ManualFileName = QStringLiteral("Pellbrook_Manual.pdf");

QString manualPath(const AppContext& context);
// Opens the manual in the desktop's PDF viewer, or says that it is missing or
// that the desktop could not open it.
void openManual(AppContext& context);

// The product web page: a build option that QUILLMERE_WEBSITE_URL overrides.
QUrl websiteUrl();
// Opens the web page in the desktop's browser, or names it when that fails.
void openWebsite(AppContext& context);

} // namespace help
