#include "ExtErrCatalogue.h"

const char gSmtpMessageHeading[] = "(SMTPサーバのエラーメッセージ)";
const char gPop3MessageHeading[] = "(POP3サーバのエラーメッセージ)";

// clang-format off
namespace {

constexpr char kConnectionFault[] =
    "接続異常が発生しました。\n"
    "サポート要員に以下のエラーコードをお知らせください。";
constexpr char kProxyAuthentication[] =
    "Proxyサーバの認証に失敗しました。\n"
    "以下の環境設定を確認し再度操作を実施してください。\n"
    "・  ユーザ名\n"
    "・  パスワード";
constexpr char kServerBusy[] =
    "接続異常が発生しました。\n"
    "サーバがビジー状態のため、少し時間をおいてから\n"
    "再度操作を実施してください。";
constexpr char kTempFileCreation[] =
    "ＨＴＴＰ／ＱＵＮＥ固有のエラーが発生しました。\n"
    "一時ファイルの作成でエラーがおきています。\n"
    "システムディスクが一杯になっていないか確認してください。";
constexpr char kFirmwareSave[] =
    "ＨＴＴＰ／ＱＵＮＥ固有のエラーが発生しました。\n"
    "ダウンロードしたファームウェアの保存に失敗しました。\n"
    "システムディスクが一杯になっていないか確認してください。";
constexpr char kProxyTrouble[] =
    "接続異常が発生しました。\n"
    "Proxyサーバで以下が発生していないか、\n"
    "ネットワーク管理者にご確認ください。\n"
    "　・ ProxyサーバでURLの名前解決に失敗している。\n"
    "　・ Proxyサーバで異常が発生している。（障害/瞬断/回線エラー）\n"
    "　・ Proxyサーバでタイムアウトが発生している。\n"
    "Proxyサーバで問題がない場合は、KARDOエージェントの\n"
    "HTTP処理で内部矛盾が発生している可能性があります。\n"
    "サポート要員に以下のエラーコードをお知らせください。";
constexpr char kSslAuthentication[] =
    "SSL認証に失敗しました。\n"
    "サポート要員に以下のエラーコードをお知らせください。";
constexpr char kProtocolFault[] =
    "ＨＴＴＰ／ＱＵＮＥ固有のエラーが発生しました。\n"
    "サポート要員に以下のエラーコードをお知らせください。";
constexpr char kLineDropped[] =
    "通信中に回線が切断されました。\n"
    "ネットワークが一時的に不安定になっている可能性があるため、\n"
    "時間をおいて再度操作を実施してください。\n"
    "問題が解決しない場合はシステム管理者にご確認ください。";
constexpr char kHttpServerUnreachable[] =
    "HTTP サーバに接続できませんでした。\n"
    "以下の環境設定を確認し、再度操作を実施してください。\n"
    "・ Proxyサーバ名\n"
    "・ ポートNo\n"
    "・ ユーザ名\n"
    "・ パスワード\n"
    "正しい場合にはProxyサーバが動作していない可能性があります。\n"
    "システム管理者にご確認ください。";
constexpr char kHttpServerFault[] =
    "通信処理の動作異常(HTTPサーバ異常)が発生しました。\n"
    "サポート要員に以下のエラーコードをお知らせください。";
constexpr char kFileAccess[] =
    "ファイルアクセスエラーが発生しました。\n"
    "一時ファイルの作成でエラーがおきています。\n"
    "システムディスクが一杯になっていないか確認してください。";
constexpr char kDeviceNotRegistered[] =
    "通信処理の動作異常(装置ID未登録)が発生しました。\n"
    "10分以上たってから再度操作を実施してください。";
constexpr char kNoFirmware[] =
    "ダウンロード処理は正常終了しました。\n"
    "KARDOセンタにダウンロード対象となるファームウェアがありません。";
constexpr char kConfigurationIdMismatch[] =
    "通信処理の動作異常(構成情報ID不一致)が発生しました。\n"
    "10分以上たってから再度操作を実施してください。";
constexpr char kDiskFull[] =
    "ディスク容量が不足しています。\n"
    "システムディスクを確認し、不要なファイルを削除してください。";
constexpr char kConnectionCapacity[] =
    "接続異常(容量不足)が発生しました。\n"
    "システムディスクを確認し、不要なファイルを削除してください。";
constexpr char kOutOfMemory[] =
    "メモリが不足しています。\n"
    "不要なアプリケーションを終了後、再度操作を実施してください。";
constexpr char kConnectionTimeout[] =
    "接続異常(タイムアウト）が発生しました。\n"
    "ネットワークやProxyサーバに負荷がかかっている可能性があります。\n"
    "時間をおいて再度操作を実施してください。\n"
    "問題が解決しない場合はシステム管理者にご確認ください。";
constexpr char kProxyReportedFault[] =
    "接続異常(Proxyから異常が通知)が発生しました。\n"
    "以下の環境設定を確認し再度操作を実施してください。\n"
    "・ Proxyサーバ名\n"
    "・ ポートNo";
constexpr char kNoMailAddress[] =
    "有効なメールアドレスがありません。\n"
    "E-Mailアドレスが正しく設定されていません。";
constexpr char kSmtpAuthUnsupported[] =
    "メール（SMTP）サーバとの間でエラーが発生しました。\n"
    "指定されたSMTPサーバがAUTH認証に対応していません。\n"
    "または、指定されたAUTH認証形式にSMTPサーバが対応していません。\n"
    "以下の原因が考えられます。\n"
    "−　SMTPサーバの指定が間違っている\n"
    "−　指定したAUTH認証形式が間違っている";
constexpr char kSmtpAuthRefused[] =
    "メール（SMTP）サーバとの間でエラーが発生しました。\n"
    "SMTPサーバで認証エラーが発生しました。\n"
    "指定されたユーザ名、パスワードに誤りがあり、\n"
    "SMTPサーバで認証できませんでした。";
constexpr char kPop3Unreachable[] =
    "メール（POP3）サーバとの間でエラーが発生しました。\n"
    "POP3サーバ名に誤りがあるか、POP3サーバが起動していません。\n"
    "以下の原因が考えられます。\n"
    "−　POP3サーバ名が間違っている\n"
    "−　DNS運用している場合にDNSサーバが動作していない\n"
    "−　POP3サーバとの通信回線の異常";
constexpr char kPop3Timeout[] =
    "メール（POP3）サーバとの間でエラーが発生しました。\n"
    "POP3サーバとの通信でタイムアウトが発生しました。\n"
    "以下の原因が考えられます。\n"
    "−　POP3サーバとの通信回線の異常\n"
    "−　POP3サーバが起動していない。";
constexpr char kPop3Communication[] =
    "メール（POP3）サーバとの間でエラーが発生しました。\n"
    "POP3サーバとの通信処理でエラーが発生しました。\n"
    "以下の原因が考えられます。\n"
    "−　POP3サーバ名が間違っている\n"
    "−　DNS運用している場合にDNSサーバが動作していない\n"
    "−　POP3サーバとの通信回線の異常";
constexpr char kPopBeforeSmtpRefused[] =
    "メール（POP3）サーバとの間でエラーが発生しました。\n"
    "POP before SMTPの認証に失敗しました。\n"
    "以下の原因が考えられます。\n"
    "−　POP3サーバ名が間違っている\n"
    "−　ユーザ名に誤りがある。\n"
    "−　パスワードに誤りがある。";
constexpr char kSmtpUnreachable[] =
    "メール（ＳＭＴＰ）サーバに接続できません。\n"
    "SMTPサーバ名に誤りがあるか、SMTPサーバが起動していません。\n"
    "以下の原因が考えられます。\n"
    "−　SMTPサーバ名が間違っている\n"
    "−　DNS運用している場合にDNSサーバが動作していない\n"
    "−　SMTPサーバとの通信回線の異常";
constexpr char kSmtpCommunication[] =
    "メール（ＳＭＴＰ）サーバに接続できません。\n"
    "SMTPサーバとの通信処理でエラーが発生しました。\n"
    "以下の原因が考えられます。\n"
    "−　SMTPサーバ名が間違っている\n"
    "−　DNS運用している場合にDNSサーバが動作していない\n"
    "−　SMTPサーバとの通信回線の異常";
constexpr char kMailServerError[] =
    "メール（ＳＭＴＰ）サーバ上のエラーです。\n"
    "以下のメッセージを参照して、環境を見直してください。";
constexpr char kFileMissing[] =
    "ファイルアクセスエラー。ファイルがありません。\n"
    "以下のことを確認してください\n"
    "− 残りディスク容量は十分か\n"
    "−　システムドライブ:\\Program Files\\QD-Agent\n"
    "    \\Tarnwalk.RM\\trwkfsvcのtempフォルダとtmp2フォルダと\n"
    "　　その配下のファイルに対するアクセス権限（読み取り/書き込み/変更）があるか";
constexpr char kMailTimeout[] =
    "通信のタイムアウトエラーです。数分後に再度トライしてください。\n"
    "再度トライしても同じ現象の場合は、メール（ＳＭＴＰ）サーバとの\n"
    "通信回線及びSMTPサーバの起動状態を確認してください。";

}  // namespace

// Sorted by result code within a type, but for the last row: it serves the catch-all rule of the
// look-up, which scans for it anywhere, and deliberately stands apart.
const EXTERR gExtErrCatalogue[] = {
    {"HTTP", -62,  54, kServerMessageNone, kConnectionFault},
    {"HTTP", -58,  62, kServerMessageNone, kProxyAuthentication},
    {"HTTP", -57,  53, kServerMessageNone, kServerBusy},
    {"HTTP", -56,  20, kServerMessageNone, kTempFileCreation},
    {"HTTP", -56,  30, kServerMessageNone, kFirmwareSave},
    {"HTTP", -56,  59, kServerMessageNone, kProxyTrouble},
    {"HTTP", -56,  60, kServerMessageNone, kSslAuthentication},
    {"HTTP", -56,  99, kServerMessageNone, kProtocolFault},
    {"HTTP", -55,  49, kServerMessageNone, kLineDropped},
    {"HTTP", -54,  41, kServerMessageNone, kHttpServerUnreachable},
    {"HTTP", -54,  42, kServerMessageNone, kConnectionFault},
    {"HTTP", -54,  52, kServerMessageNone, kConnectionFault},
    {"HTTP", -52,   1, kServerMessageNone, kHttpServerFault},
    {"HTTP", -52,   6, kServerMessageNone, kHttpServerFault},
    {"HTTP", -27,  32, kServerMessageNone, kFileAccess},
    {"HTTP", -27,  34, kServerMessageNone, kProtocolFault},
    {"HTTP", -21, 257, kServerMessageNone, kDeviceNotRegistered},
    {"HTTP", -20,   1, kServerMessageNone, kNoFirmware},
    {"HTTP", -19,  10, kServerMessageNone, kProtocolFault},
    {"HTTP", -18, 258, kServerMessageNone, kConfigurationIdMismatch},
    {"HTTP", -16,  31, kServerMessageNone, kDiskFull},
    {"HTTP", -16,  51, kServerMessageNone, kConnectionCapacity},
    {"HTTP", -14,   5, kServerMessageNone, kOutOfMemory},
    {"HTTP", -14,  50, kServerMessageNone, kOutOfMemory},
    {"HTTP", -13,  45, kServerMessageNone, kConnectionFault},
    {"HTTP", -13,  46, kServerMessageNone, kConnectionFault},
    {"HTTP", -12,  44, kServerMessageNone, kConnectionFault},
    {"HTTP",  -7,  43, kServerMessageNone, kConnectionTimeout},
    {"HTTP",  -2,  35, kServerMessageNone, kConnectionFault},
    {"HTTP",  -2,  40, kServerMessageNone, kConnectionFault},
    {"HTTP",  -2,  56, kServerMessageNone, kProxyReportedFault},
    {"SMTP", -91,  -5, kServerMessageNone, kNoMailAddress},
    {"SMTP", -79, -26, kServerMessageSmtp, kSmtpAuthUnsupported},
    {"SMTP", -79, -25, kServerMessageSmtp, kSmtpAuthRefused},
    {"SMTP", -79, -18, kServerMessagePop3, kPop3Unreachable},
    {"SMTP", -79, -17, kServerMessageNone, kPop3Timeout},
    {"SMTP", -79, -16, kServerMessagePop3, kPop3Communication},
    {"SMTP", -79, -15, kServerMessagePop3, kPopBeforeSmtpRefused},
    {"SMTP", -74, -10, kServerMessageSmtp, kSmtpUnreachable},
    {"SMTP", -74,  -7, kServerMessageSmtp, kSmtpCommunication},
    {"SMTP", -72,  -6, kServerMessageSmtp, kMailServerError},
    {"SMTP", -27,  -3, kServerMessageNone, kFileMissing},
    {"SMTP", -19,  -5, kServerMessageNone, kNoMailAddress},
    {"SMTP", -14,  -2, kServerMessageNone, kOutOfMemory},
    {"SMTP",  -7,  -4, kServerMessageNone, kMailTimeout},
    {"HTTP", -52, 259, kServerMessageNone, kHttpServerFault},
    {"", kExtErrEnd, kExtErrEnd, kServerMessageNone, ""},
};
// clang-format on
