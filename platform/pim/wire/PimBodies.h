#pragma once

#include "platform/pim/wire/BootstrapMessage.h"
#include "platform/pim/wire/CrpAdvMessage.h"
#include "platform/pim/wire/HelloMessage.h"
#include "platform/pim/wire/WireReader.h"
#include "platform/pim/wire/WireWriter.h"

// The message types behind the first octet, from the flag bits and the checksum field on: what
// PimCodec.cpp is made of, not for users of the codec.

namespace Routing::Pim {

/// What a body without flag bits skips first.
inline constexpr std::size_t flagAndChecksumOctets = 3;

/// Read a message of this type. A fault is left in the reader; the message is then unusable.
void readBody(WireReader& reader, BootstrapMessage& bsm);
void readBody(WireReader& reader, CrpAdvMessage& adv);
void readBody(WireReader& reader, HelloMessage& hello);

/// Write a message of this type with a zero checksum. A fault is left in the writer.
void writeBody(WireWriter& writer, const BootstrapMessage& bsm);
void writeBody(WireWriter& writer, const CrpAdvMessage& adv);
void writeBody(WireWriter& writer, const HelloMessage& hello);

}  // namespace Routing::Pim
