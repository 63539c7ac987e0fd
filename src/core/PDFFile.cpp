#include "core/PDFFile.h"

#include "engine/PDFError.h"
#include "engine/PDFOps.h"

#include <QFileInfo>

QString PDFFile::fileName() const
{
    return QFileInfo(path).fileName();
}

QString PDFFile::name() const
{
    return QFileInfo(path).completeBaseName();
}

int PDFFile::pageCount() const
{
    return doc ? doc->pageCount() : 0;
}

bool PDFFile::restricted() const
{
    return doc && PDFOps::isRestricted(*doc);
}

std::shared_ptr<PDFDocument> PDFFile::fresh() const
{
    if (kind == Kind::Image)
        return PDFDocument::fromBytes(pictureDocument, fileName());
    auto document = PDFDocument::open(path);
    if (document && password)
        document->unlock(*password);
    return document;
}

std::shared_ptr<PDFDocument> PDFFile::freshForWork() const
{
    auto document = fresh();
    if (!document)
        throw PDFError::notOpened(fileName());
    PDFOps::requireRewritable(*document);
    return document;
}
