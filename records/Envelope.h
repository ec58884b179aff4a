#pragma once

#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"

#include <cstdint>

namespace tavu {

// Every persistent record is a map of four pairs: "orek" true, "type", "version" 0,
// and then its payload key. The first three are the signature, always in this order.

// Writes the map head, the signature and the payload key; the caller writes the payload value.
void writeEnvelope(MessageWriter& writer, const char* type, const char* payloadKey);

// Reads the map head and the signature and raises `invalidText` when the map has fewer than
// four pairs or the signature differs. A value of the wrong type raises the reader's own text.
// Returns the pairs left in the map, for findField of the payload key.
uint32_t readEnvelope(MessageReader& reader, const char* type, const char* invalidText);

}  // namespace tavu
