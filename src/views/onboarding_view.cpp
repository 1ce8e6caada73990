#include "views/onboarding_view.h"

#include "core/store.h"
#include "platform/foundation/task.h"
#include "style/button.h"
#include "style/field.h"
#include "style/foreign_text.h"
#include "style/text_style.h"
#include "views/upper_case.h"

#include <QShowEvent>

namespace kivolo {

static constexpr int mostTyped = 256; // more than a server takes

OnboardingView::OnboardingView(std::shared_ptr<Store> store)
    : Stack(Qt::Vertical, 12, Qt::AlignHCenter, {})
    , store_(std::move(store))
{
    const QFont body = textFont(TextStyle::Body);
    const QFont caption = textFont(TextStyle::Caption);
    // clang-format off
    holding({
        text(QStringLiteral("kivolo"), systemFont(30, QFont::ExtraBold)),
        text(tr("Be with your people, right from your desk"), caption)
            ->in(Fill::secondary()),
        name_ = roundedField(tr("your name")),
        code_ = roundedField(tr("invite code")),
        prominentButton(text(tr("Join"), body), [this] { join(); })->filling(Qt::Horizontal),
        hstack(8, {
            divider(),
            text(tr("or"), textFont(TextStyle::Caption2))->in(Fill::secondary()),
            divider(),
        }),
        borderedButton(text(tr("Start a circle"), body),
                       [this] { detach(store_->createCircle(), "starting a circle"); })
            ->filling(Qt::Horizontal),
        error_ = text({}, caption)->in(Fill::red()),
    })->padded(18)->filling();
    // clang-format on
    bindFields();
    observe(*store_, this, [this] { render(); });
    render();
}

void OnboardingView::bindFields()
{
    alwaysUpperCase(code_);
    name_->setMaxLength(mostTyped);
    code_->setMaxLength(mostTyped);
    connect(name_, &QLineEdit::textChanged, this, [this](const QString &typed) {
        if (typed != *store_->handle)
            store_->handle = typed;
    });
    connect(code_, &QLineEdit::textChanged, this, [this](const QString &typed) {
        if (typed != *store_->code)
            store_->code = typed;
    });
    connect(name_, &QLineEdit::returnPressed, code_, [this] { code_->setFocus(); });
    connect(code_, &QLineEdit::returnPressed, this, &OnboardingView::join);
}

void OnboardingView::join()
{
    detach(store_->join(), "joining");
}

// What is typed here is in the store already. Only what comes from elsewhere is put in, so that
// typing keeps its cursor, its undo and an input method's unfinished text.
static void showText(Field *field, const QString &text)
{
    if (field->text() == text)
        return;
    const int cursor = field->cursorPosition();
    const bool atEnd = cursor == field->text().size();
    field->setText(text);
    if (!atEnd)
        field->setCursorPosition(cursor);
}

void OnboardingView::render()
{
    showText(name_, *store_->handle);
    showText(code_, *store_->code);
    setShown(error_, store_->errorText->has_value());
    error_->replace(singleLine(store_->errorText->value_or(QString())));
    setFocusProxy(name_->text().isEmpty() ? name_ : code_);
}

void OnboardingView::showEvent(QShowEvent *event)
{
    Stack::showEvent(event);
    if (!event->spontaneous())
        setFocus();
}

} // namespace kivolo
