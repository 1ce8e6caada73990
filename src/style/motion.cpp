#include "style/motion.h"

#include <QCoreApplication>
#include <QVariant>

namespace kivolo::motion {

static constexpr char property[] = "reducedMotion";

bool isReduced()
{
    return QCoreApplication::instance()->property(property).toBool();
}

void setReduced(bool reduced)
{
    QCoreApplication::instance()->setProperty(property, reduced);
}

} // namespace kivolo::motion
