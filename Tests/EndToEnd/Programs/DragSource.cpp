// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include <QApplication>
#include <QDrag>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>

/// A window in the corner of the screen from which a text can be dragged, as out of any other program.
class DragSource : public QLabel {
public:
    explicit DragSource(const QString& text) : text_(text) {
        setText("drag me");
        setWindowTitle("source");
        setGeometry(0, 0, 120, 60);
        setWindowFlag(Qt::X11BypassWindowManagerHint);
    }

protected:
    void mousePressEvent(QMouseEvent* /*event*/) override {
        auto* dragged = new QMimeData;
        dragged->setText(text_);
        auto* drag = new QDrag(this);
        drag->setMimeData(dragged);
        drag->exec(Qt::CopyAction);
    }

private:
    QString text_;
};

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    DragSource source(QCoreApplication::arguments().value(1));
    source.show();
    return QApplication::exec();
}
