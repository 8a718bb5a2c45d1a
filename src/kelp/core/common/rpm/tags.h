#pragma once

#include <cstdint>

/// Numbers of header tags, as rpm's tag table has them (rpm --querytags lists the names). The scriptlet tags
/// come in pairs: the script and the program that runs it.
namespace Common::Rpm::Tag {

constexpr std::int32_t Sha1Header = 269;
constexpr std::int32_t Sha256Header = 273;
constexpr std::int32_t Name = 1000;
constexpr std::int32_t Version = 1001;
constexpr std::int32_t Release = 1002;
constexpr std::int32_t Vendor = 1011;
constexpr std::int32_t Architecture = 1022;
constexpr std::int32_t PreInstall = 1023;
constexpr std::int32_t PostInstall = 1024;
constexpr std::int32_t PreUninstall = 1025;
constexpr std::int32_t PostUninstall = 1026;
constexpr std::int32_t ProvideName = 1047;
constexpr std::int32_t RequireName = 1049;
constexpr std::int32_t ConflictName = 1054;
constexpr std::int32_t TriggerScripts = 1065;
constexpr std::int32_t TriggerName = 1066;
constexpr std::int32_t VerifyScript = 1079;
constexpr std::int32_t PreInstallProgram = 1085;
constexpr std::int32_t PostInstallProgram = 1086;
constexpr std::int32_t PreUninstallProgram = 1087;
constexpr std::int32_t PostUninstallProgram = 1088;
constexpr std::int32_t ObsoleteName = 1090;
constexpr std::int32_t VerifyScriptProgram = 1091;
constexpr std::int32_t TriggerProgram = 1092;
constexpr std::int32_t PayloadCompressor = 1125;
constexpr std::int32_t PreTransaction = 1151;
constexpr std::int32_t PostTransaction = 1152;
constexpr std::int32_t PreTransactionProgram = 1153;
constexpr std::int32_t PostTransactionProgram = 1154;
constexpr std::int32_t FileTriggerScripts = 5066;
constexpr std::int32_t FileTriggerProgram = 5067;
constexpr std::int32_t FileTriggerName = 5069;
constexpr std::int32_t TransactionFileTriggerScripts = 5076;
constexpr std::int32_t TransactionFileTriggerProgram = 5077;
constexpr std::int32_t TransactionFileTriggerName = 5079;
constexpr std::int32_t PreUninstallTransaction = 5103;
constexpr std::int32_t PostUninstallTransaction = 5104;
constexpr std::int32_t PreUninstallTransactionProgram = 5105;
constexpr std::int32_t PostUninstallTransactionProgram = 5106;
constexpr std::int32_t PreUninstallTransactionFlags = 5107;
constexpr std::int32_t PostUninstallTransactionFlags = 5108;

} // namespace Common::Rpm::Tag
