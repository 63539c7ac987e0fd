#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

class DrawingDocument;
class PDFDocument;

// What every target shares: the process set up as quirebook-cli runs
// (FuzzInput.cpp defines LLVMFuzzerInitialize for all of them), and the
// input handed over in the shapes the engine takes.
namespace FuzzInput {

// The input as bytes; the engine keeps no pointer into them.
QByteArray bytes(const uint8_t *data, size_t size);

// The input written to a file, as the program meets documents: it opens
// paths. The file lives in a private folder that goes with the process.
QString asFile(const QByteArray &bytes);

// The input opened as the program opens a file to draw it or read its text:
// from its path, through the engine's choice of drawing source. Null when
// the file can't be opened, is locked or has no pages.
std::unique_ptr<DrawingDocument> drawingOf(const QByteArray &bytes);

// A private folder for results, emptied after each input.
QString resultFolder();
void clearResultFolder();

// "<password>\n<PDF>": the password is everything before the first line
// feed within the first 128 bytes, else empty and the whole input is the PDF.
struct Locked {
    QString password;
    QByteArray pdf;
};
Locked splitPassword(const QByteArray &input);

// Asks the document everything the window and the command line ask of an
// opened file, with pages bounded so a page tree of millions stays quick.
void inspect(const PDFDocument &doc);

// A cancel test that turns true once `limit` has passed, so loops over
// pages stop well inside libFuzzer's own timeout.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds limit)
        : m_end(std::chrono::steady_clock::now() + limit)
    {
    }
    bool passed() const { return std::chrono::steady_clock::now() >= m_end; }

private:
    std::chrono::steady_clock::time_point m_end;
};

} // namespace FuzzInput
