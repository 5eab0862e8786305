// Reading and writing the fields of control messages: a plain byte search, not a JSON parser.
//
// The rules are the protocol's own, looseness included; controllers rely on them, so a general JSON
// library, which accepts and rejects other inputs, must not take their place. Input events are read
// by the readers of input/event_fields.h, which differ in how they take strings:
//
//                     JsonFindString                    RawFindString
//   value             escapes decoded                   bytes as they stand
//   ends at           first unescaped double quote      first double quote
//   no closing quote  output holds what was decoded     output untouched
//
// Bodies and texts are byte strings with a length; they may hold NUL bytes and broken UTF-8. All
// searches are byte-exact. A field is the first place where its quoted name stands, nested or
// inside another value all the same. Every function takes time linear in its input. Any thread may
// call them. An output must not be part of the body.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace talu {

// Where the first colon after the first quoted key stands; kNotFound without key or colon.
size_t FindFieldColon(std::string_view body, std::string_view key);

// Reads the next quoted text after the key's colon; anything in between is skipped, a number or
// null too, in which case a later field's key is read. False with value untouched when key, colon
// or opening quote is missing. False with value holding what was decoded so far when the text
// breaks off or holds a broken \u escape. Surrogate pairs are joined; a lone surrogate becomes
// three bytes.
bool JsonFindString(std::string_view body, std::string_view key, std::string& value);

// Reads the integer after the key's colon; only spaces and tabs may stand between. Digits wrap in
// 32 bits and end at the first other byte. False with value untouched otherwise.
bool JsonFindInt(std::string_view body, std::string_view key, int32_t& value);

// The raw text of the first "conn":"..." (no white space inside), empty when there is none.
std::string ExtractConnId(std::string_view body);

// True when the body holds "type":"name" in exactly this compact form, anywhere.
bool HasType(std::string_view body, std::string_view name);

// "-7", "0", "42".
std::string DecimalText(int32_t number);

}  // namespace talu
