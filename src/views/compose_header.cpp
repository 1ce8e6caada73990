#include "views/compose_header.h"

#include "core/store.h"
#include "platform/desktop/application.h"
#include "style/avatar.h"
#include "style/button.h"
#include "style/foreign_text.h"
#include "style/text_style.h"
#include "views/overflow_menu.h"

#include <QMenu>
#include <QPainter>
#include <vector>

namespace kivolo {

namespace {

constexpr qsizetype mostCode = 24; // the server's are shorter

} // namespace

/// The first members' avatars, each partly over the one before it. The header paints them: their
/// rings reach beyond the place they take.
class ComposeHeader::Avatars : public QWidget
{
public:
    Avatars() { setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed); }

    void replace(const QList<Member> &members)
    {
        QStringList names;
        for (const Member &member : members.first(qMin(members.size(), most)))
            names.append(member.handle);
        if (names == names_)
            return;
        names_ = names;
        avatars_.clear();
        for (const QString &name : names)
            avatars_.emplace_back(name, diameter);
        updateGeometry();
        parentWidget()->update();
    }

    void paint(QPainter &painter) const
    {
        QPointF at = pos();
        for (const Avatar &avatar : avatars_) {
            avatar.paint(painter, at);
            at.rx() += diameter + spacing;
        }
    }

    QSize sizeHint() const override
    {
        const int count = int(avatars_.size());
        return {count ? count * diameter + (count - 1) * spacing : 0, diameter};
    }

private:
    static constexpr qsizetype most = 4;
    static constexpr int diameter = 34;
    static constexpr int spacing = -10;
    QStringList names_;
    std::vector<Avatar> avatars_;
};

ComposeHeader::ComposeHeader(std::shared_ptr<Store> store, MainQueue &queue)
    : Stack(Qt::Horizontal, 12, Qt::AlignVCenter, {})
    , store_(std::move(store))
    , codeCopy_(store_, queue, [this] { render(); })
{
    const QString copyTip = tr("Copy your invite code");
    auto *menu = new QMenu;
    menu->addAction(tr("Copy invite code"), &codeCopy_, &InviteCodeCopy::copy);
    menu->addSeparator();
    addDestructiveAction(menu, tr("Leave circle"), [session = store_] { session->leave(); });
    menu->addAction(tr("Quit Kivolo"), &application::terminate);

    // clang-format off
    holding({
        avatars_ = new Avatars,
        vstack(2, {
            title_ = text({}, textFont(TextStyle::Headline))->in(Fill::white())->oneLine(),
            status_ = text({}, textFont(TextStyle::Caption))->in(Fill::white(0.9))->oneLine(),
        }, Qt::AlignLeft),
        spacer(),
        yielding(plainButton(
            codeLabel_ = label({}, SymbolName::PersonBadgePlus, bold(textFont(TextStyle::Caption)))
                             ->in(Fill::white()),
            copyTip, [this] { codeCopy_.copy(); })
            ->padded(11, 6)
            ->on(Background::capsule(Fill::white(0.22)))
            ->tip(copyTip)),
        overflowMenu(menu),
    })->padded(14, 12)
      ->on(Background::rectangle(Fill::gradient()))
      ->filling(Qt::Horizontal);
    // clang-format on

    observe(*store_, this, [this] { render(); });
    render();
}

QString ComposeHeader::titleText(const Store &store)
{
    QList<Member> others;
    for (const Member &member : *store.members) {
        if (member.id != *store.memberId)
            others.append(member);
    }
    if (others.isEmpty())
        return tr("Your circle");
    if (others.size() == 1)
        return tr("You & %1").arg(isolated(singleLine(others.first().handle)));
    return tr("You & %n others", nullptr, int(others.size()));
}

void ComposeHeader::paintEvent(QPaintEvent *event)
{
    Stack::paintEvent(event);
    QPainter painter(this);
    avatars_->paint(painter);
}

void ComposeHeader::render()
{
    avatars_->replace(*store_->members);
    title_->replace(titleText(*store_));
    status_->replace(tr("Connected · %1/%2").arg(store_->members->size()).arg(*store_->maxSeats));
    const QString code = cutAtCharacter(singleLine(*store_->code), mostCode);
    const QString copied = tr("Copied!");
    codeLabel_->roomFor({code, copied}); // which must not make the title move
    if (codeCopy_.isConfirmed())
        codeLabel_->replace(copied, SymbolName::Checkmark);
    else
        codeLabel_->replace(code, SymbolName::PersonBadgePlus);
}

} // namespace kivolo
