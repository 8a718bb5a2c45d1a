#include "desktop-fixture.h"

#include "support/error-matcher.h"

#include <gtest/gtest.h>

using namespace Validator;

namespace {

const std::string applicationType = "X-Pelago-Application-Type=vitrine-qt5\n";
const std::string exec = "Exec=com.example.app\n";
const std::string launcher = "libveluraapp-launcher";

struct Case {
    std::string text;
    std::string findings;
};

template<std::size_t size>
void expect(const Case (&cases)[size], Profile profile = Profile::Regular,
            const std::vector<std::string> &requirements = {}) {
    for (const Case &c : cases)
        EXPECT_EQ(DesktopCheck(profile, package, requirements).validate(c.text), c.findings) << c.text;
}

/// The sound file with one piece of the launch entry, or of the sandbox section, exchanged.
std::string entryWith(const std::string &old, const std::string &replacement) {
    return with(launchEntry, old, replacement) + sandbox;
}
std::string sandboxWith(const std::string &old, const std::string &replacement) {
    return launchEntry + with(sandbox, old, replacement);
}
/// The sound file with more lines after it.
std::string soundAnd(const std::string &more) {
    return launchEntry + sandbox + more;
}

TEST(Desktop, JudgesTheLaunchEntry) {
    expect({
        {soundAnd(""), ""},
        {entryWith("Name=Example", ""), "desktop-name-missing desktop-name-illegal"},
        {entryWith("Example", "\\s\xc2\xa0"), "desktop-name-illegal"},
        {entryWith("com.example.app\n", "com.example.other\n"), "desktop-icon-invalid(com.example.app)"},
        {entryWith("Type=Application", "Type=Link"), "desktop-type-invalid"},
        {entryWith(exec, "Exec=com.example.app %u\n"), ""},
        {entryWith(exec, "Exec=/usr/bin/com.example.app\n"), ""},
        {entryWith(exec, "Exec=com.example.apps\n"), "desktop-exec-invalid"},
        {entryWith(exec, "Exec=sh -c com.example.app\n"), "desktop-exec-invalid"},
        {entryWith(exec, "Exec=halyard-qml com.example.apps\n"), "desktop-exec-invalid"},
        {entryWith(exec, "Exec=/usr/bin/io.tvk.browserstandalone\n"), "desktop-exec-invalid"},
        {entryWith(exec, ""), "desktop-exec-invalid"},
        {entryWith(applicationType, ""), "application-type-missing"},
        {entryWith("vitrine-qt5", "vitrine-qt6"), "application-type-missing"},
        {entryWith("vitrine-qt5", "qtquick2"), "application-type-should-be-vitrine"},
        {entryWith("vitrine-qt5", "qt5"), "application-type-should-be-vitrine"},
        {"[Desktop Entry]\n" + sandbox,
         "desktop-name-missing desktop-name-illegal desktop-icon-invalid(com.example.app) "
         "desktop-type-invalid desktop-exec-invalid application-type-missing"},
    });
    const std::string browser = entryWith(exec, "Exec=/usr/bin/io.tvk.browserstandalone --app=1\n");
    expect({{browser, ""}, {soundAnd(""), "desktop-exec-invalid"}}, Profile::Pwa);
}

TEST(Desktop, TellsQmlOnlyApplications) {
    const std::string qml = entryWith(exec, "Exec=halyard-qml com.example.app --prestart\n");
    const Case cases[] = {
        {qml, "desktop-qml-only"},
        {entryWith(exec, "Exec=velura-qml com.example.app\n"), "desktop-qml-only"},
        {with(qml, "vitrine-qt5", "qt5"), "desktop-qml-only application-type-must-be-vitrine"},
        {with(qml, "vitrine-qt5", ""), "desktop-qml-only application-type-must-be-vitrine"},
    };
    expect(cases, Profile::Regular, {launcher});
    expect({{qml, "desktop-qml-only"}}, Profile::Regular, {"libhalyardapp-launcher"});
    expect({{qml, "desktop-qml-only launcher-requires-missing"}}, Profile::Regular, {"libveluraapp"});
    expect({{soundAnd(""), "launcher-requires-invalid(libhalyardapp-launcher) "
                           "launcher-requires-invalid(libveluraapp-launcher)"}},
           Profile::Regular, {"libhalyardapp-launcher", launcher});
}

TEST(Desktop, JudgesTheGroups) {
    const std::string entryAndShares =
        with(launchEntry, "Name=", "X-Share-Methods=mail;chat\nName=") + sandbox;
    expect({
        {soundAnd("[Other]\n[X-Task]\n[X-Services x]\n"),
         "desktop-group-not-allowed(Other) desktop-group-not-allowed(X-Task) "
         "desktop-group-not-allowed(X-Services x)"},
        {entryAndShares + "[X-Share Method mail]\n[X-Share Method chat]\n", ""},
        {entryAndShares + "[X-Share Method sms]\n[X-Share Method mail2]\n",
         "desktop-group-not-allowed(X-Share Method sms) desktop-group-not-allowed(X-Share Method mail2)"},
        {soundAnd("[X-Velura-Application]\nOrientation=Portrait;LandscapeMask;\nIconMode=Crop\n"
                  "SmallScreenOrientation=All\nMediumScreenOrientation=None\n"
                  "LargeScreenOrientation=Landscape\nExtraLargeScreenOrientation=PortraitInverted\n"),
         ""},
        {soundAnd("[X-Velura-Application]\nIconMode=Scale;All\nOrientation=Crop;portrait\nIcon=Scale\n"
                  "Orientation[de]=All\n"),
         "desktop-value-invalid(All,X-Velura-Application,IconMode) "
         "desktop-value-invalid(Crop,X-Velura-Application,Orientation) "
         "desktop-value-invalid(portrait,X-Velura-Application,Orientation) "
         "desktop-field-unknown(Icon,X-Velura-SplashScreen) "
         "desktop-field-unknown(Orientation[de],X-Velura-SplashScreen)"},
        {soundAnd("[X-Velura-SplashScreen]\nGradientStartColor=#00fFa9\nGradientEndColor=#fFf\n"), ""},
        {soundAnd("[X-Velura-SplashScreen]\nGradientStartColor=#0000\nGradientEndColor=#00000g\nColor=\n"),
         "desktop-colour-invalid(#0000,X-Velura-SplashScreen,GradientStartColor) "
         "desktop-colour-invalid(#00000g,X-Velura-SplashScreen,GradientEndColor) "
         "desktop-field-unknown(Color,X-Velura-SplashScreen)"},
        // The groups come before the name, and those with options before those that must not be.
        {with(soundAnd("[Other]\n[X-Velura-Application]\nIcon=\n"), "Name=Example", "Name="),
         "desktop-field-unknown(Icon,X-Velura-SplashScreen) desktop-group-not-allowed(Other) "
         "desktop-name-missing desktop-name-illegal"},
    });
}

TEST(Desktop, JudgesTheChoiceOfSandboxSections) {
    const std::string both = soundAnd(with(sandbox, "X-Application", "X-Fencebox"));
    const std::string multiple = "sandbox-sections-multiple", key = "sandbox-key-not-allowed(Key)";
    expect({
        {launchEntry, "sandbox-section-missing"},
        {launchEntry + with(sandbox, "X-Application", "X-Fencebox"), "sandbox-section-deprecated"},
        {launchEntry + with(sandbox, "X-Application", "Fencebox") + "Key=\n",
         "sandbox-section-not-allowed " + key},
        {both + "Key=\n", multiple + ' ' + key},
        {with(both, "[X-Application]\n", "[X-Application]\nKey=\n"), multiple},
        {both + "[Fencebox]\n",
         "sandbox-section-not-allowed " + multiple +
             " organization-name-illegal organization-name-not-reverse-domain application-name-illegal "
             "names-make-no-package-name"},
    });
}

TEST(Desktop, JudgesTheSandboxSection) {
    // Each of these names is at odds with the package's too.
    const std::pair<const char *, const char *> organisations[] = {
        {"com.Example", "organization-name-illegal"},
        {"com.2example", "organization-name-digit-first"},
        {"com3", "organization-name-not-reverse-domain"},
        {"com..example", "organization-name-not-reverse-domain"},
        {"com.example.", "organization-name-not-reverse-domain"},
        {"", "organization-name-illegal organization-name-not-reverse-domain"},
    };
    const std::string unequal = " names-make-no-package-name";
    for (const auto &[name, findings] : organisations)
        expect({{sandboxWith("com.example\n", name + std::string("\n")), findings + unequal}});
    for (const char *name : {"", "1a", ".a", "a b", "\xc3\xa4"})
        expect(
            {{sandboxWith("=app\n", "=" + std::string(name) + "\n"), "application-name-illegal" + unequal}});
    expect({
        {soundAnd("ExportDBusInterfaces=a\nExecSystemServiceAutostart=1\n"),
         "sandbox-key-not-allowed(ExecSystemServiceAutostart)"},
        {sandboxWith("=app\n", "=_a.B_9\n"), "names-make-no-package-name"},
        {sandboxWith("=app\n", "=a.task_1.instance_.velura_x.service_\n"),
         "application-name-reserved(.instance_) application-name-reserved(.task_) "
         "application-name-reserved(.velura_) application-name-reserved(.service_)" +
             unequal},
        {sandboxWith("=app\n", "=-a\n"), "application-name-dash-discouraged" + unequal},
        {sandboxWith("=app\n", "=a-b\nExecDBus=com.example.app\n"),
         "application-name-dash-discouraged" + unequal + " application-name-dash"},
        {sandboxWith("Audio;", "Audio;Nope;a@b;@b;a@;a@b@c;"),
         "sandbox-permission-not-allowed(Nope) sandbox-permission-not-allowed(@b) "
         "sandbox-permission-not-allowed(a@) sandbox-permission-not-allowed(a@b@c)"},
    });
    for (const std::size_t size : {80U, 81U}) {
        const std::string name = "com.example." + std::string(size - 12, 'a');
        std::string text = sandboxWith("=app\n", "=" + name.substr(12) + "\n");
        for (const char *key : {"Icon=", "Exec="})
            text = with(text, key + package, key + name);
        EXPECT_EQ(DesktopCheck(Profile::Regular, name).validate(text),
                  size == 80 ? "" : "package-name-too-long");
    }
}

TEST(Desktop, JudgesSystemServicesOfDeviceManagers) {
    const std::string service = "ExecSystemService=/usr/libexec/com.example.app/daemon\n";
    const std::string owner = "ExecSystemServiceUser=halyard-mdm\nExecSystemServiceGroup=privileged\n";
    const std::string dash = "application-name-dash-discouraged names-make-no-package-name ";
    const Case cases[] = {
        {soundAnd(service + owner + "ExecSystemServiceAutostart=1\n"), ""},
        {soundAnd(service), "system-service-incomplete"},
        {soundAnd(owner), "system-service-incomplete"},
        {soundAnd("ExecSystemService=/usr/libexec/com.example.apps/daemon\n" + owner),
         "system-service-invalid"},
        {soundAnd(service + with(owner, "halyard-mdm", "root")), "system-service-owner"},
        {soundAnd("ExecSystemService=\n" + with(owner, "privileged", "root")),
         "system-service-invalid system-service-owner"},
        {sandboxWith("=app\n", "=a-b\n" + service), dash + "system-service-incomplete"},
        {sandboxWith("=app\n", "=a-b\n" + service + owner), dash + "application-name-dash"},
    };
    expect(cases, Profile::MDM);
    expect({{soundAnd(service), "sandbox-key-not-allowed(ExecSystemService)"}});
}

TEST(Desktop, JudgesIntents) {
    expect({
        {soundAnd("Intents=Start;OpenURI:gui;X-Any;Start/sub:gui;X-Own/sub-2:gui|gui\n"), ""},
        {soundAnd("Intents=Stop:x;start;S;X-;Start/;Start x;X-a\n"),
         "intent-not-standard(Stop) intent-invalid(start) intent-invalid(S) intent-invalid(X-) "
         "intent-invalid(Start/) intent-invalid(Start x) intent-invalid(X-a)"},
        {soundAnd("Intents=Start:gui|fast;Start:;Start:gui|;X-Own:Gui\n"),
         "intent-flag-unknown(fast) intent-flag-unknown() intent-flag-unknown(Gui)"},
        {soundAnd("Intents=Start\\n;Start:gui\\n\n"), "intent-invalid(Start\n) intent-invalid(Start:gui\n)"},
    });
}

TEST(Desktop, JudgesBackgroundTasks) {
    const auto task = [](const std::string &lines) { return soundAnd("[X-Task good]\nType=push\n" + lines); };
    const auto named = [](const std::string &group) { return soundAnd("[" + group + "]\nType=worker\n"); };
    expect({
        {named("X-Task ab") + "[X-Service   Ab9]\nType=session-start\n[X-Task c3]\nType=mdmclient\n"
                              "[X-Task d4]\nType=periodic\n[X-Task e5]\nType=scheduled\n",
         ""},
        {named("X-Task a"), "task-invalid(X-Task a)"},
        {named("X-Service 1ab"), "task-invalid(X-Service 1ab)"},
        {named("X-Task a-b"), "task-invalid(X-Task a-b)"},
        {soundAnd("[X-Task good]\nType=Push\nName=x\nIcon=y\n"),
         "task-key-not-allowed(Name) task-key-not-allowed(Icon) task-type-unsupported(Push)"},
        {task("Exec=\n"), ""},
        {task("Exec=/usr/bin/com.example.app.part-2_x arg\n"), ""},
        {task("Exec=com.example.app.2nd\n"), "task-executable-name(com.example.app.2nd)"},
        {task("Exec=/usr/bin/com.example.app.a\n"), "task-executable-name(/usr/bin/com.example.app.a)"},
        {task("Exec=com.example.app.part\\n\n"), "task-executable-name(com.example.app.part\n)"},
        {task("Exec=com.example.apps\n"), "task-executable-misplaced(com.example.apps)"},
        {task("Exec=\\scom.example.app\n"), "task-executable-misplaced()"},
        {task("Exec=/usr/libexec/com.example.app arg\n"),
         "task-executable-misplaced(/usr/libexec/com.example.app)"},
        {task("Permissions=Base;Audio;Camera;Microphone;BaseTask;Internet;Contacts\n"),
         "task-permission-not-allowed(Base) task-permission-not-allowed(Audio) "
         "task-permission-not-allowed(Camera) task-permission-not-allowed(Microphone) "
         "task-permission-implicit task-permission-not-of-application(Contacts)"},
        {task("Conditions=internet;internet:wifi;internet:ethernet;internet:cellular;"
              "internet:wifi-or-ethernet;battery-not-low;charging;idle;\n"),
         ""},
        {task("Conditions=idle:;Idle;sunshine;idle:wifi;internet:5g;internet:lte;charging:wifi;battery-not-"
              "low:wifi\n"),
         "task-condition-invalid(idle:) task-condition-invalid(Idle) task-condition-unknown(sunshine) "
         "task-condition-subtype-unknown(idle,wifi) task-condition-invalid(internet:5g) "
         "task-condition-subtype-unknown(internet,lte) task-condition-subtype-unknown(charging,wifi) "
         "task-condition-subtype-unknown(battery-not-low,wifi)"},
        // All five checks of a task run, in this order.
        {soundAnd("[X-Task 1]\nConditions=no\nPermissions=Base\nExec=x\n"),
         "task-invalid(X-Task 1) task-type-unsupported() task-executable-misplaced(x) "
         "task-permission-not-allowed(Base) task-condition-unknown(no)"},
        {launchEntry + "[X-Task 1]\nName=x\n", "sandbox-section-missing"},
        // The permissions that count are those of the section in use.
        {soundAnd("[X-Fencebox]\nOrganizationName=com.example\nApplicationName=app\nIntents=no\n"
                  "[X-Task good]\nType=push\nPermissions=Internet\n"),
         "sandbox-sections-multiple intent-invalid(no) task-permission-not-of-application(Internet)"},
    });
}

TEST(Desktop, JudgesAttestationAndCapabilities) {
    const std::string attestation = "[Attestation]\n";
    const std::string capabilities = "[X-Velura-Capabilities]\n";
    const std::string missing = "attestation-key-missing(ActionOnBadAttestation,Attestation)";
    expect({
        {soundAnd(attestation + "Other=1\n"), missing},
        {soundAnd(attestation + "ActionOnBadAttestation=RemoveAll\n"), ""},
        {soundAnd(attestation + "ActionOnBadAttestation=none\n"),
         "attestation-value-invalid(none,ActionOnBadAttestation)"},
        {soundAnd(attestation + "ActionOnBadAttestation=x\nB=1\nA=2\n"),
         "attestation-key-invalid(A,Attestation) attestation-key-invalid(B,Attestation)"},
        {soundAnd(capabilities + "Input=Mouse;;Tablet\nUserInterface=ResizeableContent\n"
                                 "ScreenOrientation=Landscape;Portrait;LandscapeInverted;PortraitInverted\n"),
         ""},
        {soundAnd(capabilities + "Input=Mouse;\nScreenOrientation=Portrait; Landscape\nOutput=1\n"
                                 "UserInterface=\n"),
         "capability-value-invalid(,Input) capability-value-invalid( Landscape,ScreenOrientation) "
         "capability-key-invalid(Output,X-Velura-Capabilities) capability-value-invalid(,UserInterface)"},
        // What is a desktop file without being plain ini.
        {soundAnd("[X-Application]\n"), "desktop-file-broken"},
        {soundAnd(capabilities + "Input=Mouse\nInput=Tablet\n"), "desktop-file-broken"},
        {soundAnd(capabilities + "Input=Nothing\n" + attestation + "B=\n" + attestation + "C=\n"),
         missing + " desktop-file-broken"},
    });
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
    for (const Profile profile : {Profile::Regular, Profile::Pwa})
        EXPECT_EQ(DesktopCheck(profile).finish(), "desktop-file-missing");
    EXPECT_EQ(DesktopCheck(Profile::MDM).finish(), "desktop-file-missing-unchecked");

    DesktopCheck broken;
    EXPECT_EQ(broken.validate("[Other]\n"), "desktop-file-broken");
    EXPECT_EQ(broken.finish(), "desktop-file-missing");

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
    EXPECT_EQ(check.finish(), "location-not-allowed(/usr/share/common/com.example2/x) "
                              "location-not-allowed(/usr/share/common/) "
                              "location-not-allowed(/usr/share/common/org.other)");
}

} // namespace
