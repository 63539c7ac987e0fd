#include "signing/Stamps.h"

#include <QCoreApplication>

namespace Stamps {

const QList<Ink> &inkColors()
{
    // A near-black grey and a deep blue, as sRGB (the calibrated grey of
    // gamma 2.2 and sRGB agree closely enough at these levels).
    static const QList<Ink> inks{
        {QCoreApplication::translate("Stamps", "Black"), QColor::fromRgbF(0.05f, 0.05f, 0.05f)},
        {QCoreApplication::translate("Stamps", "Blue"), QColor::fromRgbF(0.05f, 0.2f, 0.7f)},
    };
    return inks;
}

} // namespace Stamps
