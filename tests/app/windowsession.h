#pragma once

#include "app/mainwindow.h"
#include "tests/common/fakemac.h"

#include <QTest>
#include <QtWidgets>

#include <functional>
#include <memory>

// A fresh simulated Mac and home folder, then a window shown and active; `prepare` sets up the
// machine or the store before the window first reads them.
struct Session
{
    explicit Session(const std::function<void(FakeMac&)>& prepare = {})
    {
        if (prepare)
            prepare(fake);
        window = std::make_unique<MainWindow>();
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    template <typename T> T* child(const QString& name) const
    {
        T* widget = window->findChild<T*>(name);
        if (!widget)
            qFatal("no %s", qPrintable(name));
        return widget;
    }

    // The spin boxes' values, or which of them are enabled ("0001"), of one group ("addr", "mask" or
    // "router") or, without one, of all three: "192.168.1.201 255.255.255.0 192.168.1.1".
    QString spinBoxes(const QString& group = {}) const { return boxes(group, false); }
    QString enabledPattern(const QString& group = {}) const { return boxes(group, true); }
    QString boxes(const QString& group, bool enabled) const
    {
        if (group.isEmpty())
            return QStringList{boxes("addr", enabled), boxes("mask", enabled), boxes("router", enabled)}.join(' ');
        QStringList parts;
        for (int i = 1; i <= 4; ++i) {
            auto* box = child<QSpinBox>(QStringLiteral("sb_%1_%2").arg(group).arg(i));
            parts.append(QString::number(enabled ? box->isEnabled() : box->value()));
        }
        return parts.join(enabled ? QString() : QStringLiteral("."));
    }

    // The read-only fields showing the machine: address, mask and router, e.g. "10.0.0.23 255.255.255.0 10.0.0.1".
    // The first router field is misspelt in the form, and the code reaches it by that name.
    QString fields() const
    {
        QString shown;
        for (const QString group : {"addr", "mask", "router"}) {
            for (int i = 1; i <= 4; ++i) {
                const QString name =
                    group == "router" && i == 1 ? "linEdit_router_1" : "lineEdit_" + group + "_" + QString::number(i);
                shown += child<QLineEdit>(name)->text() + (i < 4 ? "." : " ");
            }
        }
        return shown.trimmed();
    }

    // A choice made by the user: Qt reports it with activated(), which a choice made by code never emits.
    void choose(const QString& comboName, const QString& text) const
    {
        auto* combo = child<QComboBox>(comboName);
        const int index = combo->findText(text);
        QVERIFY2(index >= 0, qPrintable(text));
        combo->setCurrentIndex(index);
        emit combo->activated(index);
    }

    QStringList items(const QString& comboName) const
    {
        auto* combo = child<QComboBox>(comboName);
        QStringList result;
        for (int i = 0; i < combo->count(); ++i)
            result.append(combo->itemText(i));
        return result;
    }

    QTimer* refreshTimer() const
    {
        for (QTimer* timer : window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (timer->interval() == 5000)
                return timer;
        }
        return nullptr;
    }

    // The commands that change the machine, as the simulated Mac received them; readings left out.
    QList<QStringList> changes() const
    {
        QList<QStringList> result;
        for (const QStringList& call : fake.calls()) {
            if (call.value(1) == QLatin1String("-setdhcp") || call.value(1) == QLatin1String("-setmanual"))
                result.append(call);
        }
        return result;
    }

    FakeMac fake;
    std::unique_ptr<MainWindow> window;
};

inline void clickOn(QWidget* widget)
{
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

// A failed case may leave a box open; it must not block the next one.
inline void closeModals()
{
    for (int i = 0; i < 10 && QApplication::activeModalWidget(); ++i) {
        QApplication::activeModalWidget()->close();
        QCoreApplication::processEvents();
    }
}
