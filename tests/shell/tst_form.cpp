// The form: texts, ranges, resources, and that nothing is cut off.
#include <QAccessible>
#include <QImageReader>
#include <QRadioButton>
#include <QWheelEvent>

#include "looks.h"
#include "spokenreadouts.h"
#include "standinwindow.h"

namespace {

int warnings = 0;
void countWarnings(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtDebugMsg || type == QtInfoMsg || message.contains("XDG_RUNTIME_DIR"))
        return;
    std::fprintf(stderr, "%s\n", qPrintable(message));
    ++warnings;
}

}  // namespace

class TestForm : public StandinWindow {
    Q_OBJECT

    QWidget* child(const QString& name) const { return window->findChild<QWidget*>(name); }

private slots:
    void initTestCase() { speakReadOuts(); }
    void init() {
        fresh({record("Arm", 5)});
        warnings = 0;
        const auto previous = qInstallMessageHandler(countWarnings);
        window = std::make_unique<qtTharlenTest>();
        qInstallMessageHandler(previous);
        QCOMPARE(warnings, 0);
    }

    void ranges() {
        const std::tuple<const char*, int, int, int> rows[] = {
            {"slider_X slider_Y slider_Z slider_TX slider_TY slider_TZ", -100, 100, 0},
            {"encoderTestPower", 0, 300, 100},
            {"encoderTestTempSpinBox", 0, 200, 160},
            {"SpinBoxTest", 0, 99, 8},
            {"encoderTestLoopsSpinBox", 0, 99, 10},
            {"gain_slider xForceBar yForceBar zForceBar progressBar progressBar_2", 0, 100, 0}};
        for (const auto& [names, minimum, maximum, value] : rows) {
            for (const QString& name : QString(names).split(' ')) {
                const QObject& control = *child(name);
                QCOMPARE(control.property("minimum").toInt(), minimum);
                QCOMPARE(control.property("maximum").toInt(), maximum);
                QCOMPARE(control.property("value").toInt(), value);
            }
        }
    }

    // On a small screen the tabs are scrolled, and the wheel passes a slider that commands a motor.
    void theWheelScrollsAndCommandsNothing() {
        const int least = window->minimumSizeHint().height();
        scrollTabs(*window);
        QVERIFY(window->minimumSizeHint().height() < least - 200);
        QSlider* slider = window->ui.slider_X;
        QWheelEvent wheel(QPointF(5, 5), slider->mapToGlobal(QPoint(5, 5)), {}, QPoint(0, 120), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(slider, &wheel);
        QCOMPARE(slider->value(), 0);
    }

    // Where the page finds the room it has enough, nothing around it is laid out and painted anew; where not, the
    // tabs are.
    void aReadOutAsksNoFurtherThanItNeeds() {
        struct Paints : QObject {
            int count = 0;
            bool eventFilter(QObject*, QEvent* event) override {
                count += event->type() == QEvent::Paint;
                return false;
            }
        } paints;
        ui().tabWidget->addTab(ui().tab_3, "Read Encoder");
        ui().tabWidget->setCurrentWidget(ui().tab_3);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QCoreApplication::processEvents();
        ui().tabWidget->tabBar()->installEventFilter(&paints);
        for (const char* text : {"-1200", "7", "-31000"}) {
            ui().encoder_X->setText(text);
            QCoreApplication::processEvents();
        }
        QCOMPARE(paints.count, 0);
        ui().encoder_X_caption->setText(QString(200, '9'));
        QTRY_VERIFY(paints.count > 0);
    }

    void everyImageCanBeRead() {
        const QDir images(":/qtTharlenTest/Resources");
        QCOMPARE(images.entryList(QDir::Files).size(), 38);
        for (const QString& name : images.entryList(QDir::Files))
            QVERIFY2(!QImageReader(images.filePath(name)).read().isNull(), qPrintable(name));
    }

    // On each page: at the window's first size no text control is smaller than its text needs, and with all its
    // controls enabled the Tab key comes by every one of them, or by one of its group.
    void eachPageCanBeReadAndReached() {
        QStringList cut, missed;
        onEachPage([&](const QString& where) {
            cut << cutOff(where);
            for (QWidget* widget : ui().tabWidget->currentWidget()->findChildren<QWidget*>())
                widget->setEnabled(true);
            ui().tabWidget->setFocus();
            QSet<const QWidget*> reached;
            for (QWidget* at = QApplication::focusWidget(); at && !reached.contains(at);
                 at = QApplication::focusWidget()) {
                reached << at;
                if (const auto* radio = qobject_cast<QRadioButton*>(at)) {
                    for (const QWidget* other : radio->parentWidget()->findChildren<QRadioButton*>())
                        reached << other;
                }
                QTest::keyClick(at, Qt::Key_Tab);
            }
            for (const QWidget* widget : window->findChildren<QWidget*>()) {
                if (isControl(widget) && !reached.contains(widget))
                    missed << where + widget->objectName();
            }
        });
        QCOMPARE(window->size(), QSize(900, 738));
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join('\n')));
        QVERIFY2(missed.isEmpty(), qPrintable(missed.join('\n')));
    }

    // A screen reader says what a read-out or lamp is and what it shows.
    void readOutsSpeak() {
        const auto said = [this](const char* name) {
            return QAccessible::queryAccessibleInterface(child(name))->text(QAccessible::Name);
        };
        ui().encoder_X->setText("-1200");
        ui().safetySwitch->setText("ON");
        ui().EncoderTestLCD_Y->display(41);
        QCOMPARE(said("encoder_X"), QString("Encoder X -1200"));
        QCOMPARE(said("safetySwitch"), QString("Safety switch ON"));
        QCOMPARE(said("EncoderTestLCD_Y"), QString("Estimated temperature Y 41"));
        QCOMPARE(said("startRecord"), QString("Start recording"));
        QCOMPARE(said("calibrate_button"), QString("CALIBRATE "));
    }

private:
    /// Shows one page after the other, in the window's first size; `visit` gets the name of the page.
    template <class Visit>
    void onEachPage(const Visit& visit) {
        window->manufMode = true;
        for (int page = 2; page <= 15; ++page)
            ui().tabWidget->addTab(child(QString("tab_%1").arg(page)), QString::number(page));
        window->resize(900, 738);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        for (int tab = 0; tab < ui().tabWidget->count(); ++tab) {
            ui().tabWidget->setCurrentIndex(tab);
            const bool pages = ui().tabWidget->currentWidget() == ui().tab_15;
            for (int page = 0; page < (pages ? ui().stackedWidget->count() : 1); ++page) {
                if (pages)
                    ui().stackedWidget->setCurrentIndex(page);
                QCoreApplication::processEvents();
                visit(QString("%1/%2 ").arg(ui().tabWidget->tabText(tab)).arg(page));
            }
        }
    }
    /// What a mouse can use now; lamps and the picture of the maker are not to be pressed, and the tab bar has its own.
    static bool isControl(const QWidget* widget) {
        const QStringList lamps{"stylusButton_1",    "stylusButton_2",      "safetySwitch",       "inkwellSwitch",
                                "amp_status_button", "device_fault_button", "test_result_status", "pushButton_21"};
        if (!widget->isVisible() || !widget->isEnabled() || lamps.contains(widget->objectName())
            || widget->objectName().startsWith("Scroll") || widget->objectName().endsWith("_result"))
            return false;
        const char* const kinds[] = {"QAbstractButton", "QSlider",      "QComboBox", "QAbstractSpinBox",
                                     "QListView",       "QTextBrowser", "QTabBar",   "QLineEdit"};
        return !widget->parentWidget()->inherits("QAbstractSpinBox")
               && std::any_of(std::begin(kinds), std::end(kinds),
                              [=](const char* kind) { return widget->inherits(kind); });
    }
    QStringList cutOff(const QString& where) const {
        QStringList cut;
        for (const QWidget* widget : window->findChildren<QWidget*>()) {
            const QString name = widget->objectName();
            const bool text =
                widget->inherits("QLabel") || widget->inherits("QAbstractButton") || widget->inherits("QComboBox");
            if (!text || !widget->isVisible() || name.isEmpty() || name.startsWith("qt_") || name.startsWith("Scroll"))
                continue;
            const QSize needed = widget->minimumSizeHint(), size = widget->size();
            const QRect inWindow(widget->mapTo(window.get(), QPoint()), size);
            if (needed.boundedTo(size) != needed || !window->rect().contains(inWindow)
                || widget->visibleRegion().boundingRect() != widget->rect())
                cut << where + name;
        }
        return cut;
    }
};

QTEST_MAIN(TestForm)
#include "tst_form.moc"
