; The Windows installer: both DLLs, registered for hosts of their own bitness, the tools, the samples and the reference.
; makensis -DCONTENT=<folder of the zip's content> -DREMOVAL=<removal.nsh> -DOUTPUT=<installer> -DVERSION=<n.n.n>
; removal.nsh deletes the content file by file: scripts/pack.sh writes it.
Unicode true
Target amd64-unicode
!include x64.nsh

Name "MovaCmdSvr ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\MovaCmdSvr"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
ShowInstDetails show

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\MovaCmdSvr"
; The 32-bit registrar of a 64-bit system; a system without 32-bit programs has none.
!define REGISTRAR32 "$WINDIR\SysWOW64\regsvr32.exe"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

Section
    SetRegView 64
    SetOutPath "$INSTDIR"
    File /r "${CONTENT}/*"
    ExecWait '"$SYSDIR\regsvr32.exe" /s "$INSTDIR\windows-x64\MovaCmdSvr.dll"' $0
    IntCmp $0 0 registered64
        DetailPrint "The 64-bit component could not be registered ($0)"
        SetErrors
        SetErrorLevel 2
        Abort "The 64-bit component could not be registered ($0)"
    registered64:
    IfFileExists "${REGISTRAR32}" 0 registered32
    ExecWait '"${REGISTRAR32}" /s "$INSTDIR\windows-x86\MovaCmdSvr.dll"' $0
    IntCmp $0 0 registered32
        DetailPrint "The 32-bit component could not be registered ($0); 32-bit hosts will not find it"
    registered32:
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "MovaCmdSvr"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section Uninstall
    SetRegView 64
    ExecWait '"$SYSDIR\regsvr32.exe" /s /u "$INSTDIR\windows-x64\MovaCmdSvr.dll"'
    IfFileExists "${REGISTRAR32}" 0 unregistered32
    ExecWait '"${REGISTRAR32}" /s /u "$INSTDIR\windows-x86\MovaCmdSvr.dll"'
    unregistered32:
    ; Only what was installed, by name: the folder is the user's choice, and files of the user's stay, as do folders
    ; that hold some.
    !include "${REMOVAL}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd
