"""Damage to a machine that was taken over, each kind once: shell commands in its root directory, and whether an
application or somebody else's file is lost by it. A harness that does not see one of them proves nothing."""

from applications import KEY

TRUSTED = "sqlite3 var/lib/trusted-sources/db.sqlite3"
DAMAGES = {
    "a published link is gone": ("rm usr/bin/org.example.links", True),
    "a published copy is cut off": ("truncate -s 3 usr/share/com.example.devices/policy.json", True),
    "a published copy does not know its source": ("setfattr -x user.kelp.mapping.target usr/bin/com.example.vpn", True),
    "a published link leads elsewhere": ("ln -sf /opt/app/com.example.bundle/current/libexec/helper usr/bin/org.example.links", True),
    "a file of the store is gone": ("rm opt/app/com.example.bundle/1-1/3rdparty/lib/libx.so", True),
    "a file of the store has another mode": ("chmod 644 opt/app/org.example.links/1-1/bin/org.example.links", True),
    "no version is current": ("rm opt/app/org.example.shared/current", True),
    "there is no descriptor": ("rm opt/app/org.example.shared/1-1/velura.pkg", True),
    "a published file is not listed": ("sed -i 1d opt/app/org.example.shared/1-1/symlink.list", True),
    "a directory is not listed": ("sed -i 1d opt/app/org.example.shared/1-1/generated.dir.list", True),
    "the registry has a line twice": ("sed -i 1p var/lib/kelp/registry", False),
    "rpm has lost what it keeps": ("chroot . rpm --erase --justdb io.velura.dialer", True),
    "what rpm keeps is cut off": ("truncate -s 1 usr/bin/net.example.unsigned", True),
    "rpm still has what the store has": ("rpm --root $PWD --dbpath /var/lib/rpm --install --justdb --force-debian --nodeps $PACKAGES/com.example.vpn.rpm", False),
    "a binding is gone": (f"{TRUSTED} \"DELETE FROM packages WHERE id = 'com.example.vpn'\"", False),
    "the policy is not set": (f"{TRUSTED} \"UPDATE configuration SET data = 0 WHERE id = 'missing_source_allowed'\"", False),
    "data of a user is gone": (f"rm home/alice/.local/share/org.example/{KEY}/common/notes.db", True),
    "data has not moved": (f"cd srv/shared/org.example; mv {KEY}/common .; rmdir {KEY}", False),
    "the integrity file is gone": ("rm opt/app/org.example.links/1-1/@resources/integrityd.json", False),
    "a journal is left": ("touch var/lib/kelp/journal", False),
    "a staged tree is left": ("mkdir -p opt/kelp/tmp/org.example.links", False),
    "a script has run": ("touch srv/ran", True),
    "a stranger's file is gone": ("rm usr/share/org.example.links/mine.txt", True),
    "a stamp is missing": ("rm var/lib/kelp/.migration_skid_done", False),
}

# What a program can say that is not so, or do that it may not: a scenario, and shell commands in the program's place.
LIES = {
    "a stamp for applications that stay": ("take-over", ": >/var/lib/kelp/.migration_done"),
    "an update that brings nothing": ("update-copies", "true"),
    "a removal that removes nothing": ("people-remove", "true"),
    "a repair that mends nothing": ("people-repair", "true"),
    "all is well": ("people-status", "true"),
    "a list that lacks a line": ("people-list", "true"),
    "a look that leaves something": ("people-list", "/program list; : >/opt/left"),
}
