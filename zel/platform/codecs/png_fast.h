#pragma once
#include <zel/platform/codecs/png_rows.h>

namespace zel::png {

/// True for what the fast path decodes: pictures that are not interlaced, with 8 or 16 bits a sample and without a
/// transparent colour.
bool isCommon(const Header& header);

/// True where decoding keeps a second thread busy.
bool usesSecondThread(const Header& header);

/// Decodes common pictures in bands of rows that stay in the caches: one thread inflates, this one undoes the filters,
/// widens the samples and hands the rows on. Small pictures are done on this thread alone.
bool decodeCommon(const ByteSource& source, const Header& header, const RowDelivery& delivery);

/// True when the first row of a common picture decodes; else the reason is noted.
bool firstRowDecodes(const ByteSource& source, const Header& header);

} // namespace zel::png
