#include "windowtest.h"

#include "servostate.h"

void resetSharedState() {
    resetProcessState();
    testClock = &monotonicMilliseconds;
}

QStringList tabTexts(const qtTharlenTest& window) {
    QStringList texts;
    for (int i = 0; i < window.ui.tabWidget->count(); ++i)
        texts << window.ui.tabWidget->tabText(i);
    return texts;
}

bool goToTab(qtTharlenTest& window, const QString& text) {
    const int index = tabTexts(window).indexOf(text);
    if (index < 0)
        return false;
    window.ui.tabWidget->setCurrentIndex(index);
    return true;
}

bool goToPage(qtTharlenTest& window, const QString& text) {
    const auto found = window.ui.listWidget->findItems(text, Qt::MatchExactly);
    if (found.isEmpty())
        return false;
    window.ui.listWidget->setCurrentItem(found.first());
    return true;
}

std::unique_ptr<qtTharlenTest> openWindow() {
    auto window = std::make_unique<qtTharlenTest>();
    goToTab(*window, "Select");
    return window;
}
