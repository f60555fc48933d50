#pragma once

/// @file
/// The texts of the tool set's numbered messages, compiled into each tool. English texts are ASCII,
/// Japanese ones EUC-JP; most are printf formats, some hold line feeds.

/// One message.
struct MSG_TABLE {
  int number;        ///< In the shipped table the row's position, 0 to 274.
  const char* id;    ///< Nine characters: "MXL", five digits, and I, W, E or L; may be null.
  const char* text;  ///< In the shipped table at most 200 bytes.
};

/// Number of the row that ends a table; its other fields are null.
constexpr int kMsgTableEnd = 99999999;

/// 275 rows and the end row. No ID and no text occurs twice.
extern const MSG_TABLE gMsgTable[];
