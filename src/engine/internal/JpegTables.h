#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

#include <QByteArray>

#include <optional>

// JPEG data stored more tightly without touching a single pixel: the same
// coefficients written again with Huffman tables made for this picture
// (what an encoder in a hurry skips). Every marker is kept. Nothing when the
// data isn't a JPEG libjpeg can read, or when it wouldn't get smaller.
std::optional<QByteArray> tighterJpeg(const QByteArray &jpeg);
