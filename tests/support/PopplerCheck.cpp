#include "support/PopplerCheck.h"

#include <poppler-qt6.h>

using namespace Qt::StringLiterals;

namespace PopplerCheck {

QList<QList<int>> linkTargets(const QString &path)
{
    QList<QList<int>> result;
    auto doc = Poppler::Document::load(path);
    if (!doc || doc->isLocked())
        return result;
    for (int i = 0; i < doc->numPages(); ++i) {
        QList<int> targets;
        auto page = doc->page(i);
        if (page)
            for (const auto &link : page->links())
                if (link->linkType() == Poppler::Link::Goto)
                    targets << static_cast<const Poppler::LinkGoto *>(link.get())
                                   ->destination()
                                   .pageNumber();
        result << targets;
    }
    return result;
}

QString title(const QString &path)
{
    auto doc = Poppler::Document::load(path);
    return doc ? doc->info(u"Title"_s) : QString();
}

QList<Word> words(const QString &path, int index)
{
    QList<Word> out;
    auto doc = Poppler::Document::load(path);
    if (!doc || doc->isLocked() || index >= doc->numPages())
        return out;
    auto page = doc->page(index);
    if (!page)
        return out;
    for (const auto &box : page->textList())
        out.append({box->text(), box->boundingBox()});
    return out;
}

QList<QRectF> find(const QString &path, int index, const QString &text)
{
    auto doc = Poppler::Document::load(path);
    if (!doc || doc->isLocked() || index >= doc->numPages())
        return {};
    auto page = doc->page(index);
    return page ? page->search(text) : QList<QRectF>();
}

} // namespace PopplerCheck
