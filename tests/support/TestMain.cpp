#include "TestMain.h"

#include "PostgresCluster.h"

#include <QApplication>
#include <QList>
#include <QTest>

#include <memory>

namespace testmain {
namespace {

struct Registration
{
    const char* name;
    std::function<QObject*()> create;
};

QList<Registration>& registrations()
{
    static QList<Registration> all;
    return all;
}

} // namespace

bool registerTestClass(const char* name, std::function<QObject*()> create)
{
    registrations().append({name, std::move(create)});
    return true;
}

} // namespace testmain

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const QString only = qEnvironmentVariable("QUILLMERE_TEST_CLASS");
    int failures = 0;
    for (const auto& registration : testmain::registrations()) {
        if (!only.isEmpty() && only != QLatin1String(registration.name))
            continue;
        std::unique_ptr<QObject> test(registration.create());
        failures += QTest::qExec(test.get(), argc, argv);
    }
    PostgresCluster::shutdownShared();
    return failures == 0 ? 0 : 1;
}
