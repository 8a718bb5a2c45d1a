#include "desktop-fixture.h"

#include "support/error-matcher.h"

#include <gtest/gtest.h>

using namespace Validator;

namespace {

const std::string applicationType = "X-Pelago-Application-Type=vitrine-qt5\n";
const std::string exec = "Exec=com.example.app\n";
const std::string launcher = "libveluraapp-launcher";

const std::string missingSection =
    error("[fencebox] X-Application section should be specified in desktop file");
const std::string dashWarning = warning("[fencebox] ExecDBus and/or ExecSystemService will not work, remove "
                                        "\"-\" from Application name");
const std::string dashError =
    error("[fencebox] Application name contains illegal \"-\" symbol. It will cause "
          "ExecDBus and/or ExecSystemService failure in future");
const std::string noPackageName = error(
    "[fencebox] OrganizationName and ApplicationName pair should form a package name (e.g. for package "
    "\"com.example.app\" ApplicationName must be \"app\" and OrganizationName must be \"com.example\").");
const std::string illegalOrganisation = error("[fencebox] OrganizationName contains illegal characters");
const std::string digitInOrganisation = error("[fencebox] OrganizationName may not start with a number");
const std::string noReverseDomain =
    error("[fencebox] OrganizationName should follow reverse domain notation (at least up to second-level "
          "domain), e.g.: \"org.example\".");
const std::string illegalApplication = error("[fencebox] ApplicationName contains illegal characters");
const std::string invalidName = error("[desktop] Name contains illegal characters");
const std::string invalidExec = error("[desktop] Missing valid Exec declaration inside");
const std::string qmlOnly = info("[desktop] Application is a QML-only app");
const std::string noType =
    error("[desktop] X-Pelago-Application-Type not declared (use vitrine-qt5 for QML apps)");
const std::string otherType =
    warning("[desktop] X-Pelago-Application-Type should be vitrine-qt5 (not a Vitrine app?)");
const std::string brokenFile = error("[desktop] Broken desktop file");
const std::string launcherMissing =
    error("[libveluraapp] Add Requires: libveluraapp-launcher to the .spec file");
const std::string invalidService =
    error("[fencebox] ExecSystemService is incorrect, template rules are equal to ExecStart section");
const std::string incompleteService =
    error("[fencebox] If application use system service, desktop file should include ExecSystemService, "
          "ExecSystemServiceUser and ExecSystemServiceGroup keys");
const std::string invalidOwner =
    error("[fencebox] System service user should be \"halyard-mdm\", system service "
          "group should be \"privileged\"");

std::string invalidValue(const std::string &value, const std::string &key) {
    return error("[desktop] invalid value '" + value + "' in 'X-Velura-Application/" + key + "' field");
}
std::string invalidColour(const std::string &value, const std::string &key) {
    return error("[desktop] invalid value '" + value + "' in 'X-Velura-SplashScreen/" + key +
                 "' field. \nThe expected value is a color in hex format (#RRGGBB).");
}
std::string unknownField(const std::string &key) {
    return error("[desktop] invalid field name '" + key + "' in 'X-Velura-SplashScreen' group");
}
std::string disallowedGroup(const std::string &group) {
    return error("[desktop] '" + group + "' group is disallowed");
}
std::string disallowedKey(const std::string &key) {
    return error("[" + key + "] X-Fencebox key is not allowed");
}

/// Makes a finding of each value that it is given.
auto saying(const char *text) {
    return [text](const std::string &value) { return error(text + value); };
}

struct Case {
    std::string text;
    std::string report;
};

template<std::size_t size>
void expectReports(const Case (&cases)[size], Profile profile = Profile::Regular,
                   const std::vector<std::string> &requirements = {}) {
    for (const Case &c : cases)
        EXPECT_EQ(DesktopCheck(profile, package, requirements).validate(c.text), c.report) << c.text;
}

/// The sound file with one piece of the launch entry, or of the sandbox section, exchanged.
std::string entryWith(const std::string &old, const std::string &replacement) {
    return with(launchEntry, old, replacement) + sandbox;
}
std::string sandboxWith(const std::string &old, const std::string &replacement) {
    return launchEntry + with(sandbox, old, replacement);
}
/// The sound file with more lines behind it.
std::string soundAnd(const std::string &more) {
    return launchEntry + sandbox + more;
}

TEST(Desktop, JudgesTheLaunchEntry) {
    const std::string invalidIcon =
        error("[desktop] Missing valid Icon declaration inside, must be Icon=com.example.app");
    const Case cases[] = {
        {soundAnd(""), ""},
        {entryWith("Name=Example", ""),
         error("[desktop] Missing valid Name declaration inside") + invalidName},
        {entryWith("Example", "\\s\xc2\xa0"), invalidName},
        {entryWith("Example", "a\\tb"), invalidName},
        {entryWith("com.example.app\n", "com.example.other\n"), invalidIcon},
        {entryWith("Type=Application", "Type=Link"),
         error("[desktop] Missing valid Type declaration inside")},
        {entryWith(exec, "Exec=com.example.app %u\n"), ""},
        {entryWith(exec, "Exec=/usr/bin/com.example.app\n"), ""},
        {entryWith(exec, "Exec=com.example.apps\n"), invalidExec},
        {entryWith(exec, "Exec=sh -c com.example.app\n"), invalidExec},
        {entryWith(exec, "Exec=halyard-qml com.example.apps\n"), invalidExec},
        {entryWith(exec, "Exec=/usr/bin/io.tvk.browserstandalone\n"), invalidExec},
        {entryWith(exec, ""), invalidExec},
        {entryWith(applicationType, ""), noType},
        {entryWith("vitrine-qt5", "vitrine-qt6"), noType},
        {entryWith("vitrine-qt5", "no-invoker"), otherType},
        {entryWith("vitrine-qt5", "generic"), otherType},
        {entryWith("vitrine-qt5", "qtquick2"), otherType},
        {entryWith("vitrine-qt5", "qt5"), otherType},
        {"[Desktop Entry]\n" + sandbox,
         error("[desktop] Missing valid Name declaration inside") + invalidName + invalidIcon +
             error("[desktop] Missing valid Type declaration inside") + invalidExec + noType},
    };
    expectReports(cases);
}

TEST(Desktop, TellsQmlOnlyApplications) {
    const std::string mustBeVitrine =
        error("[desktop] X-Pelago-Application-Type must be vitrine-qt5 for halyard-qml apps");
    const std::string qml = entryWith(exec, "Exec=halyard-qml com.example.app --prestart\n");
    const Case cases[] = {
        {qml, qmlOnly},
        {entryWith(exec, "Exec=velura-qml com.example.app\n"), qmlOnly},
        {with(qml, "vitrine-qt5", "qt5"), qmlOnly + mustBeVitrine},
        {with(qml, "vitrine-qt5", ""), qmlOnly + mustBeVitrine},
    };
    expectReports(cases, Profile::Regular, {launcher});
    expectReports({{qml, qmlOnly}}, Profile::Regular, {"libhalyardapp-launcher"});
    expectReports({{qml, qmlOnly + launcherMissing}}, Profile::Regular, {"libveluraapp"});
    expectReports({{soundAnd(""), error("[libveluraapp] Invalid Requires: libhalyardapp-launcher") +
                                      error("[libveluraapp] Invalid Requires: libveluraapp-launcher")}},
                  Profile::Regular, {"libhalyardapp-launcher", launcher});
}

TEST(Desktop, JudgesTheGroups) {
    const std::string entryAndShares =
        with(launchEntry, "Name=", "X-Share-Methods=mail;chat\nName=") + sandbox;
    const Case cases[] = {
        {soundAnd("[Other]\n[X-Task]\n[X-Services x]\n"),
         disallowedGroup("Other") + disallowedGroup("X-Task") + disallowedGroup("X-Services x")},
        {entryAndShares + "[X-Share Method mail]\n[X-Share Method chat]\n", ""},
        {entryAndShares + "[X-Share Method sms]\n[X-Share Method mail2]\n",
         disallowedGroup("X-Share Method sms") + disallowedGroup("X-Share Method mail2")},
        {soundAnd(
             "[X-Velura-Application]\nOrientation=Portrait;LandscapeMask;\nIconMode=Crop\n"
             "SmallScreenOrientation=All\nMediumScreenOrientation=None\nLargeScreenOrientation=Landscape\n"
             "ExtraLargeScreenOrientation=PortraitInverted;LandscapeInverted;PortraitMask\n"),
         ""},
        {soundAnd(
             "[X-Velura-Application]\nIconMode=Scale;All\nOrientation=Crop;Portrait;portrait\nIcon=Scale\n"
             "Orientation[de]=All\n"),
         invalidValue("All", "IconMode") + invalidValue("Crop", "Orientation") +
             invalidValue("portrait", "Orientation") + unknownField("Icon") +
             unknownField("Orientation[de]")},
        {soundAnd("[X-Velura-SplashScreen]\nGradientStartColor=#00fFa9\nGradientEndColor=#fFf\n"), ""},
        {soundAnd(
             "[X-Velura-SplashScreen]\nGradientStartColor=#0000\nGradientEndColor=#00000g\nColor=#fff\n"),
         invalidColour("#0000", "GradientStartColor") + invalidColour("#00000g", "GradientEndColor") +
             unknownField("Color")},
        {soundAnd("[X-Velura-SplashScreen]\nGradientStartColor=0000000\nGradientEndColor=\n"),
         invalidColour("0000000", "GradientStartColor") + invalidColour("", "GradientEndColor")},
        // The groups come before the name, and those with options before those that must not be.
        {with(soundAnd("[Other]\n[X-Velura-Application]\nIcon=\n"), "Name=Example", "Name="),
         unknownField("Icon") + disallowedGroup("Other") +
             error("[desktop] Missing valid Name declaration inside") + invalidName},
    };
    expectReports(cases);
}

TEST(Desktop, JudgesTheChoiceOfSandboxSections) {
    const std::string multiple =
        error("[fencebox] Multiple fencebox sections are not allowed, please use only \"X-Application\"");
    const std::string notAllowed =
        error("[fencebox] Fencebox section is not allowed (use X-Application instead)");
    const std::string both = soundAnd(with(sandbox, "X-Application", "X-Fencebox"));
    const Case cases[] = {
        {launchEntry, missingSection},
        {launchEntry + with(sandbox, "X-Application", "X-Fencebox"),
         warning("[fencebox] \"X-Fencebox\" section will be deprecated in future versions, please use "
                 "\"X-Application\" instead")},
        {launchEntry + with(sandbox, "X-Application", "Fencebox") + "Key=\n",
         notAllowed + disallowedKey("Key")},
        {both + "Key=\n", multiple + disallowedKey("Key")},
        {with(both, "[X-Application]\n", "[X-Application]\nKey=\n"), multiple},
        {both + "[Fencebox]\n",
         notAllowed + multiple + illegalOrganisation + noReverseDomain + illegalApplication + noPackageName},
    };
    expectReports(cases);
}

TEST(Desktop, JudgesTheSandboxSection) {
    const std::string tooLong = error("[fencebox] Package name too long (maximum is 80 characters)");
    const auto reserved = saying("[fencebox] ApplicationName contains reserved prefix ");
    const auto organisation = [](const std::string &name) {
        return sandboxWith("com.example\n", name + "\n");
    };
    const auto application = [](const std::string &name) { return sandboxWith("=app\n", "=" + name + "\n"); };
    const Case cases[] = {
        {soundAnd("ExportDBusInterfaces=a\nExecSystemServiceAutostart=1\n"),
         disallowedKey("ExecSystemServiceAutostart")},
        {organisation("com.Example"), illegalOrganisation + noPackageName},
        {organisation("1com.example"), digitInOrganisation + noPackageName},
        {organisation("com.2example"), digitInOrganisation + noPackageName},
        {organisation("com3"), noReverseDomain + noPackageName},
        {organisation("com..example"), noReverseDomain + noPackageName},
        {organisation(".com.example"), noReverseDomain + noPackageName},
        {organisation("com.example."), noReverseDomain + noPackageName},
        {organisation(""), illegalOrganisation + noReverseDomain + noPackageName},
        {application(""), illegalApplication + noPackageName},
        {application("1a"), illegalApplication + noPackageName},
        {application(".a"), illegalApplication + noPackageName},
        {application("a b"), illegalApplication + noPackageName},
        {application("\xc3\xa4"), illegalApplication + noPackageName},
        {application("_a.B_9"), noPackageName},
        {application("a.task_1.instance_.velura_x.service_"), reserved(".instance_") + reserved(".task_") +
                                                                  reserved(".velura_") +
                                                                  reserved(".service_") + noPackageName},
        {application("-a"), dashWarning + noPackageName},
        {application("a-b\nExecDBus=com.example.app"), dashWarning + noPackageName + dashError},
        {sandboxWith("Audio;", "Audio;Nope;a@b;@b;a@;a@b@c;"),
         error("[Nope] Permission is not allowed") + error("[@b] Permission is not allowed") +
             error("[a@] Permission is not allowed") + error("[a@b@c] Permission is not allowed")},
    };
    expectReports(cases);

    for (const std::size_t size : {80U, 81U}) {
        const std::string name = "com.example." + std::string(size - 12, 'a');
        std::string text = sandboxWith("=app\n", "=" + name.substr(12) + "\n");
        for (const char *key : {"Icon=", "Exec="})
            text = with(text, key + package, key + name);
        EXPECT_EQ(DesktopCheck(Profile::Regular, name).validate(text), size == 80 ? "" : tooLong);
    }
}

TEST(Desktop, JudgesSystemServicesOfDeviceManagers) {
    const std::string service = "ExecSystemService=/usr/libexec/com.example.app/daemon\n";
    const std::string owner = "ExecSystemServiceUser=halyard-mdm\nExecSystemServiceGroup=privileged\n";
    const Case cases[] = {
        {soundAnd(service + owner + "ExecSystemServiceAutostart=1\n"), ""},
        {soundAnd(service), incompleteService},
        {soundAnd(owner), incompleteService},
        {soundAnd("ExecSystemService=/usr/libexec/com.example.apps/daemon\n" + owner), invalidService},
        {soundAnd(service + with(owner, "halyard-mdm", "root")), invalidOwner},
        {soundAnd("ExecSystemService=\n" + with(owner, "privileged", "root")), invalidService + invalidOwner},
        {sandboxWith("=app\n", "=a-b\n" + service), dashWarning + noPackageName + incompleteService},
        {sandboxWith("=app\n", "=a-b\n" + service + owner), dashWarning + noPackageName + dashError},
    };
    expectReports(cases, Profile::MDM);
    expectReports({{soundAnd(service), disallowedKey("ExecSystemService")}});
}

TEST(Desktop, JudgesTheLaunchLineOfWebApplications) {
    const std::string browser = entryWith(exec, "Exec=/usr/bin/io.tvk.browserstandalone --app=1\n");
    expectReports({{browser, ""}, {soundAnd(""), invalidExec}}, Profile::Pwa);
}

TEST(Desktop, JudgesIntents) {
    const auto invalid = saying("Invalid intent specification: ");
    const auto unknown = saying("Unknown intent flag: ");
    const auto nonStandard = saying("Non standard intent name: ");
    const Case cases[] = {
        {soundAnd("Intents=Start;OpenURI:gui;X-Any;Start/sub:gui;X-Own/sub-2:gui|gui\n"), ""},
        {soundAnd("Intents=Stop:x;start;S;X-;Start/;Start x;X-a\n"),
         nonStandard("Stop") + invalid("start") + invalid("S") + invalid("X-") + invalid("Start/") +
             invalid("Start x") + invalid("X-a")},
        {soundAnd("Intents=Start:gui|fast;Start:;Start:gui|;X-Own:Gui\n"),
         unknown("fast") + unknown("") + unknown("Gui")},
        {soundAnd("Intents=Start\\n;Start:gui\\n\n"), invalid("Start\n") + invalid("Start:gui\n")},
    };
    expectReports(cases);
}

TEST(Desktop, JudgesBackgroundTasks) {
    const auto task = [](const std::string &lines) { return soundAnd("[X-Task good]\nType=push\n" + lines); };
    const auto named = [](const std::string &group) { return soundAnd("[" + group + "]\nType=worker\n"); };
    const auto invalidTask = saying("Invalid background task specification: ");
    const auto invalidProgram = saying("Invalid characters in executable name: ");
    const auto misplaced = saying("Executable missing or in wrong path: ");
    const auto unsupported = saying("Unsupported background task type: ");
    const auto invalidCondition = saying("Invalid condition specification: ");
    const auto unknownSubtype = [](const std::string &condition, const std::string &subtype) {
        return error("Unknown " + condition + " condition subtype: " + subtype);
    };
    const Case cases[] = {
        {named("X-Task ab") + "[X-Service   Ab9]\nType=session-start\n[X-Task c3]\nType=mdmclient\n"
                              "[X-Task d4]\nType=periodic\n[X-Task e5]\nType=scheduled\n",
         ""},
        {named("X-Task a"), invalidTask("X-Task a")},
        {named("X-Service 1ab"), invalidTask("X-Service 1ab")},
        {named("X-Task a-b"), invalidTask("X-Task a-b")},
        {soundAnd("[X-Task good]\n"), unsupported("")},
        {soundAnd("[X-Task good]\nType=Push\nName=x\nIcon=y\n"),
         error("[desktop] Key 'Name' disallowed for background tasks") +
             error("[desktop] Key 'Icon' disallowed for background tasks") + unsupported("Push")},
        {task("Exec=\n"), ""},
        {task("Exec=com.example.app --task\n"), ""},
        {task("Exec=/usr/bin/com.example.app.part-2_x arg\n"), ""},
        {task("Exec=com.example.app.2nd\n"), invalidProgram("com.example.app.2nd")},
        {task("Exec=/usr/bin/com.example.app.a\n"), invalidProgram("/usr/bin/com.example.app.a")},
        {task("Exec=com.example.app.part\\n\n"), invalidProgram("com.example.app.part\n")},
        {task("Exec=com.example.apps\n"), misplaced("com.example.apps")},
        {task("Exec=\\scom.example.app\n"), misplaced("")},
        {task("Exec=/usr/libexec/com.example.app arg\n"), misplaced("/usr/libexec/com.example.app")},
        {task("Permissions=Internet;\n"), ""},
        {task("Permissions=Base;Audio;Camera;Microphone;BaseTask;Internet;Contacts\n"),
         error("Permission not allowed for tasks: Base") + error("Permission not allowed for tasks: Audio") +
             error("Permission not allowed for tasks: Camera") +
             error("Permission not allowed for tasks: Microphone") +
             error("BaseTask permission is implicit, please remove it") +
             error("Task permission needs to be in application too: Contacts")},
        {task("Conditions=internet;internet:wifi;internet:ethernet;internet:cellular;"
              "internet:wifi-or-ethernet;battery-not-low;charging;idle;\n"),
         ""},
        {task("Conditions=idle:;Idle;sunshine;idle:wifi;internet:5g;internet:lte;charging:wifi;battery-not-"
              "low:wifi\n"),
         invalidCondition("idle:") + invalidCondition("Idle") + error("Unknown task condition: sunshine") +
             unknownSubtype("idle", "wifi") + invalidCondition("internet:5g") +
             unknownSubtype("internet", "lte") + unknownSubtype("charging", "wifi") +
             unknownSubtype("battery-not-low", "wifi")},
        // All five checks of a task run, in this order.
        {soundAnd("[X-Task 1]\nConditions=no\nPermissions=Base\nExec=x\n"),
         invalidTask("X-Task 1") + unsupported("") + misplaced("x") +
             error("Permission not allowed for tasks: Base") + error("Unknown task condition: no")},
        {launchEntry + "[X-Task 1]\nName=x\n", missingSection},
        // The permissions that count are those of the section in use.
        {soundAnd("[X-Fencebox]\nOrganizationName=com.example\nApplicationName=app\nIntents=no\n"
                  "[X-Task good]\nType=push\nPermissions=Internet\n"),
         error("[fencebox] Multiple fencebox sections are not allowed, please use only \"X-Application\"") +
             error("Invalid intent specification: no") +
             error("Task permission needs to be in application too: Internet")},
    };
    expectReports(cases);
}

TEST(Desktop, JudgesAttestationAndCapabilities) {
    const std::string attestation = "[Attestation]\n";
    const std::string capabilities = "[X-Velura-Capabilities]\n";
    const auto invalid = [](const std::string &value, const std::string &key) {
        return error("[desktop] invalid value '" + value + "' for '" + key + "' key");
    };
    const auto unknown = [](const std::string &key, const std::string &group) {
        return error("[desktop] invalid key '" + key + "' in '" + group + "' group");
    };
    const std::string missing = error("[desktop] no key 'ActionOnBadAttestation' in 'Attestation' group");
    const Case cases[] = {
        {soundAnd(attestation), missing},
        {soundAnd(attestation + "Other=1\n"), missing},
        {soundAnd(attestation + "ActionOnBadAttestation=None\n"), ""},
        {soundAnd(attestation + "ActionOnBadAttestation=RemoveAll\n"), ""},
        {soundAnd(attestation + "ActionOnBadAttestation=none\n"), invalid("none", "ActionOnBadAttestation")},
        {soundAnd(attestation + "ActionOnBadAttestation=x\nB=1\nA=2\n"),
         unknown("A", "Attestation") + unknown("B", "Attestation")},
        {soundAnd(capabilities + "Input=Mouse;;Tablet\nUserInterface=ResizeableContent\n"
                                 "ScreenOrientation=Landscape;Portrait;LandscapeInverted;PortraitInverted\n"),
         ""},
        {soundAnd(capabilities + "Input=Mouse;\nScreenOrientation=Portrait; Landscape\nOutput=1\n"
                                 "UserInterface=\n"),
         invalid("", "Input") + invalid(" Landscape", "ScreenOrientation") +
             unknown("Output", "X-Velura-Capabilities") + invalid("", "UserInterface")},
        // What is a desktop file without being plain ini.
        {soundAnd("[X-Application]\n"), brokenFile},
        {soundAnd(capabilities + "Input=Mouse\nInput=Tablet\n"), brokenFile},
        {soundAnd(capabilities + "Input=Nothing\n" + attestation + "B=\n" + attestation + "C=\n"),
         missing + brokenFile},
    };
    expectReports(cases);
}

TEST(Desktop, TakesOnlyTheFileOfThePackagesName) {
    DesktopCheck check;
    EXPECT_TRUE(check.checker().canValidate("/usr/share/applications/com.example.app.desktop", "/x"));
    for (const char *path : {"/usr/share/applications/com.example.app2.desktop",
                             "/usr/share/com.example.app/com.example.app.desktop",
                             "usr/share/applications/com.example.app.desktop", ""})
        EXPECT_FALSE(check.checker().canValidate(path, "/x")) << path;
}

TEST(Desktop, MissesADesktopFileThatTheProfileRequires) {
    const std::string missing = error("[desktop] Desktop file is missing");
    EXPECT_EQ(DesktopCheck(Profile::Regular).finish(), missing);
    EXPECT_EQ(DesktopCheck(Profile::Pwa).finish(), missing);
    EXPECT_EQ(DesktopCheck(Profile::MDM).finish(),
              warning("Desktop file is missing, no validation for fencebox section"));

    DesktopCheck broken;
    EXPECT_EQ(broken.validate("[Other]\n"), brokenFile);
    EXPECT_EQ(broken.finish(), missing);

    DesktopCheck vanished;
    vanished.validate(soundAnd(""));
    std::filesystem::remove(vanished.desktopFile());
    EXPECT_THAT(
        [&] { vanished.finish(); },
        raises(Common::ErrorCode::Filesystem, "Couldn't look at file: " + vanished.desktopFile().string()));
}

TEST(Desktop, KeepsSharedDataWithinTheOrganisation) {
    DesktopCheck check;
    for (const char *path : {"/usr/share/common/com.example/app/x", "/usr/share/common/com.example",
                             "/usr/share/common/com.example2/x", "/usr/share/common/", "/usr/share/common",
                             "/usr/share/common/org.other"})
        check.offer(path, "/x");
    EXPECT_EQ(check.validate(soundAnd("")), "");
    EXPECT_EQ(check.finish(),
              error("[/usr/share/common/com.example2/x] Installation not allowed in this location") +
                  error("[/usr/share/common/] Installation not allowed in this location") +
                  error("[/usr/share/common/org.other] Installation not allowed in this location"));
}

} // namespace
