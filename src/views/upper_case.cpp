#include "views/upper_case.h"

#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QValidator>

namespace kivolo {

namespace {

/// Changes what reaches the field in whichever way. Qt forgets what can be undone then.
class UpperCase final : public QValidator
{
public:
    using QValidator::QValidator;

    State validate(QString &input, int &cursor) const override
    {
        cursor = int(input.left(cursor).toUpper().size());
        input = input.toUpper();
        return Acceptable;
    }
};

/// Changes what is typed before it reaches the field, so that it can be undone.
class UpperCaseTyping final : public QObject
{
public:
    explicit UpperCaseTyping(QLineEdit *field)
        : QObject(field)
        , field_(field)
    {
        field->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress)
            return typed(*static_cast<QKeyEvent *>(event));
        if (event->type() == QEvent::InputMethod)
            return composed(*static_cast<QInputMethodEvent *>(event));
        return QObject::eventFilter(watched, event);
    }

private:
    bool typed(const QKeyEvent &event)
    {
        const QString upper = event.text().toUpper();
        if (upper == event.text())
            return false;
        QKeyEvent instead(event.type(), event.key(), event.modifiers(), upper,
                          event.isAutoRepeat());
        QCoreApplication::sendEvent(field_, &instead);
        return true;
    }

    bool composed(const QInputMethodEvent &event)
    {
        const QString upper = event.commitString().toUpper();
        if (upper == event.commitString())
            return false;
        QInputMethodEvent instead(event.preeditString(), event.attributes());
        instead.setCommitString(upper, event.replacementStart(), event.replacementLength());
        QCoreApplication::sendEvent(field_, &instead);
        return true;
    }

    QLineEdit *field_;
};

} // namespace

void alwaysUpperCase(QLineEdit *field)
{
    field->setValidator(new UpperCase(field));
    new UpperCaseTyping(field);
}

} // namespace kivolo
