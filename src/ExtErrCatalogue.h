#pragma once

/// @file
/// The catalogue of agent errors: Japanese explanations (EUC-JP) by transport type, agent result
/// and transport code. `IExtVekError::lookup` reads it.

/// What `formatExtRMError` appends to a row's text.
enum {
  kServerMessageNone = 0,
  kServerMessageSmtp = 1,  ///< The mail server's message, under the SMTP heading.
  kServerMessagePop3 = 2,  ///< The same message, under the POP3 heading.
};

/// One row of the catalogue.
struct EXTERR {
  const char* type;  ///< "HTTP" or "SMTP".
  int rmCode;        ///< Result of the agent's library.
  int ssCode;        ///< Code of the transport.
  int kind;          ///< One of the kServerMessage values.
  const char* text;  ///< Explanation; may be null or empty.
};

/// Both codes of the row that ends the catalogue.
constexpr int kExtErrEnd = 9999;

/// 46 rows and the end row. The keys are unique.
extern const EXTERR gExtErrCatalogue[];

/// Lines that introduce the mail server's message.
extern const char gSmtpMessageHeading[];
extern const char gPop3MessageHeading[];
