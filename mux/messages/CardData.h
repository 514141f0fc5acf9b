#pragma once

#include <string>
#include <vector>

namespace Mux {

// Turns a client's "cardData" text of hexadecimal digits, either case, into the bytes of the card.
//
// The bytes are in reverse order of the text: "A1B2C3" gives C3 B2 A1, the order in which gateways take card data. An
// odd number of digits is padded with a leading '0': "ABC" gives BC 0A. A non-hexadecimal character counts as 0. An
// empty text gives no bytes. Never fails.
std::vector<unsigned char> CardDataFromText(const std::string& text);

// The way back: the text, in upper case and with two digits a byte, that CardDataFromText() turns into exactly these
// bytes.
std::string CardDataToText(const std::vector<unsigned char>& bytes);

}  // namespace Mux
