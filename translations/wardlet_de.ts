<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>AlertView</name>
    <message>
        <location filename="../ui/AlertViewer.cpp" line="+123"/>
        <source>Mireval - Alert %1 of %2</source>
        <comment>title</comment>
        <translation>Mireval - Warnung %1 von %2</translation>
    </message>
    <message>
        <location line="+8"/>
        <source>&lt;&lt;</source>
        <translation>&lt;&lt;</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>&gt;&gt;</source>
        <translation>&gt;&gt;</translation>
    </message>
</context>
<context>
    <name>DefsFormat</name>
    <message>
        <location filename="../tray/StatusTexts.cpp" line="+61"/>
        <source>Waiting for update</source>
        <translation>Warte auf Aktualisierung</translation>
    </message>
    <message>
        <location line="+5"/>
        <source>%1 rev. %2</source>
        <translation>%1 Rev. %2</translation>
    </message>
</context>
<context>
    <name>MainView</name>
    <message>
        <location filename="../ui/StatusWindow.cpp" line="+174"/>
        <source>&amp;Novarel is running</source>
        <translation>&amp;Novarel läuft</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>&amp;Novarel</source>
        <translation>&amp;Novarel</translation>
    </message>
    <message>
        <location line="+60"/>
        <source>Trevanta</source>
        <comment>title</comment>
        <translation>Trevanta</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Trevanta</source>
        <translation>Trevanta</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Program Version</source>
        <translation>Programmversion</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Program:</source>
        <translation>Programm:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Scan Engine:</source>
        <translation>Scan-Engine:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Definitions</source>
        <translation>Virendefinitionen</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Version:</source>
        <translation>Version:</translation>
    </message>
    <message>
        <location line="+3"/>
        <source>Alt+N</source>
        <translation>Alt+N</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Vigilon:</source>
        <translation>Vigilon:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Scan:</source>
        <translation>Prüfung:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Management</source>
        <translation>Verwaltung</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Server:</source>
        <translation>Server:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Group:</source>
        <translation>Gruppe:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Last Connected:</source>
        <translation>Zuletzt verbunden:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Location:</source>
        <translation>Standort:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Policy Serial Number:</source>
        <translation>Richtlinien-Seriennummer:</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>&amp;Close</source>
        <translation>&amp;Schließen</translation>
    </message>
    <message>
        <location line="+1"/>
        <source>Alt+C</source>
        <translation>Alt+S</translation>
    </message>
</context>
<context>
    <name>QMessageBox</name>
    <message>
        <location filename="../ui/UpdateWarning.cpp" line="+11"/>
        <source>Warning</source>
        <comment>title</comment>
        <translation>Warnung</translation>
    </message>
    <message>
        <location line="+9"/>
        <source>Failed to launch Novarel</source>
        <translation>Novarel konnte nicht gestartet werden</translation>
    </message>
    <message>
        <location line="+5"/>
        <source>Novarel failed</source>
        <translation>Novarel ist fehlgeschlagen</translation>
    </message>
</context>
<context>
    <name>WardletApp</name>
    <message>
        <location filename="../tray/StatusTexts.cpp" line="-57"/>
        <source>Disabled</source>
        <comment>VGStatus</comment>
        <translation>Ausgeschaltet</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Enabled</source>
        <comment>VGStatus</comment>
        <translation>Eingeschaltet</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Not Installed</source>
        <comment>VGStatus</comment>
        <translation>Nicht installiert</translation>
    </message>
    <message>
        <location line="+4"/>
        <source>Malfunctioning</source>
        <comment>VGStatus</comment>
        <translation>Gestört</translation>
    </message>
    <message>
        <location line="+7"/>
        <source>Starting</source>
        <comment>ScanStatus</comment>
        <translation>Wird gestartet</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Started</source>
        <comment>ScanStatus</comment>
        <translation>Gestartet</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Stopping</source>
        <comment>ScanStatus</comment>
        <translation>Wird beendet</translation>
    </message>
    <message>
        <location line="+2"/>
        <location line="+10"/>
        <source>Done</source>
        <comment>ScanStatus</comment>
        <translation>Abgeschlossen</translation>
    </message>
    <message>
        <location line="-8"/>
        <source>Scanning directories</source>
        <comment>ScanStatus</comment>
        <translation>Prüft Verzeichnisse</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Scanning boot sector</source>
        <comment>ScanStatus</comment>
        <translation>Prüft Bootsektor</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Scanning memory</source>
        <comment>ScanStatus</comment>
        <translation>Prüft Arbeitsspeicher</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Scanning files</source>
        <comment>ScanStatus</comment>
        <translation>Prüft Dateien</translation>
    </message>
    <message>
        <location line="+4"/>
        <source>Aborted</source>
        <comment>ScanStatus</comment>
        <translation>Abgebrochen</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Queued</source>
        <comment>ScanStatus</comment>
        <translation>In der Warteschlange</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Delayed</source>
        <comment>ScanStatus</comment>
        <translation>Verzögert</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Scanning proccesses</source>
        <comment>ScanStatus</comment>
        <translation>Prüft Prozesse</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Suspended</source>
        <comment>ScanStatus</comment>
        <translation>Angehalten</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Resumed</source>
        <comment>ScanStatus</comment>
        <translation>Fortgesetzt</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Unknown status</source>
        <comment>ScanStatus</comment>
        <translation>Unbekannter Status</translation>
    </message>
    <message>
        <location filename="../tray/TrayIcon.cpp" line="+55"/>
        <source>Open &amp;Trevanta</source>
        <translation>&amp;Trevanta öffnen</translation>
    </message>
    <message>
        <location line="+3"/>
        <source>&amp;Exit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <location line="+77"/>
        <source>Protected.</source>
        <translation>Geschützt.</translation>
    </message>
    <message>
        <location line="+3"/>
        <source>Protected and in touch with the management server.</source>
        <translation>Geschützt und mit dem Verwaltungsserver verbunden.</translation>
    </message>
    <message>
        <location line="+4"/>
        <source>Not protected: another program holds the scan daemon&apos;s address.</source>
        <translation>Nicht geschützt: Ein anderes Programm belegt die Adresse des Scan-Dienstes.</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Not protected: the real-time scanner or the scan daemon is not running.</source>
        <translation>Nicht geschützt: Der Echtzeit-Scanner oder der Scan-Dienst läuft nicht.</translation>
    </message>
    <message>
        <location line="+4"/>
        <source>Protected, but the management server cannot be reached.</source>
        <translation>Geschützt, aber der Verwaltungsserver ist nicht erreichbar.</translation>
    </message>
    <message>
        <location line="+3"/>
        <source>Protected. The management client reports an unknown state.</source>
        <translation>Geschützt. Der Verwaltungsdienst meldet einen unbekannten Zustand.</translation>
    </message>
    <message>
        <location line="+4"/>
        <source>Protected, but another program holds the management client&apos;s address.</source>
        <translation>Geschützt, aber ein anderes Programm belegt die Adresse des Verwaltungsdienstes.</translation>
    </message>
    <message>
        <location line="+2"/>
        <source>Protected, but the management client cannot be reached.</source>
        <translation>Geschützt, aber der Verwaltungsdienst ist nicht erreichbar.</translation>
    </message>
    <message>
        <location filename="../tray/NotificationServer.cpp" line="+133"/>
        <source>Details</source>
        <translation>Details</translation>
    </message>
    <message>
        <location line="+6"/>
        <location filename="../tray/TrayIcon.cpp" line="-30"/>
        <source>Trevanta</source>
        <translation>Trevanta</translation>
    </message>
    <message>
        <location filename="../tray/AlertNotice.cpp" line="+37"/>
        <source>Threat detected</source>
        <translation>Bedrohung erkannt</translation>
    </message>
    <message numerus="yes">
        <location line="+1"/>
        <source>%n threats detected</source>
        <translation>
            <numerusform>%n Bedrohung erkannt</numerusform>
            <numerusform>%n Bedrohungen erkannt</numerusform>
        </translation>
    </message>
    <message>
        <location filename="../tray/ProtectionNotice.cpp" line="+12"/>
        <source>This computer is not protected</source>
        <translation>Dieser Computer ist nicht geschützt</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <location filename="../app/CommandLine.cpp" line="+51"/>
        <source>Shows in the notification area whether this computer is protected by the Trevanta anti-virus suite. Starting it again opens the running copy&apos;s status window.</source>
        <translation>Zeigt im Benachrichtigungsbereich, ob dieser Computer durch die Antivirus-Suite Trevanta geschützt ist. Ein zweiter Start öffnet das Statusfenster der laufenden Kopie.</translation>
    </message>
</context>
</TS>
