; The Windows setup, for systems of 32 and 64 bits, for all users or one: the component, registered for hosts of each bitness
; that the system has, the tools, the samples and the documentation. What can be chosen, the switches and the exit codes are in
; docs/getting-started-windows.md. scripts/pack.sh runs:
; makensis -DVERSION=<n.n.n> -DOUTPUT=<setup> -DCONTENT=<folder of the zip's content> -DREMOVAL=<removal.nsh> -DLIST=<file>
;          -DDOCUMENTATION=<file or folder in the content> [-DSIGN=<program>]
; removal.nsh deletes the content file by file, the list has the same names, SIGN is called with each file to be signed.
Unicode true
SetCompressor /SOLID lzma
ManifestDPIAware true
ManifestSupportedOS all
AllowSkipFiles off ; a file that cannot be written ends the setup

!define LIST_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\MovaCmdSvr"
!define CLASS_KEY "Software\Classes\CLSID\{fe640147-2f81-4a07-af44-f1b818ed5cee}\InprocServer32"
!define MENU "$SMPROGRAMS\MovaCmdSvr"
!define NAMES_FILE installed-files.txt

; Beside the setup's own: 1 cancelled, 2 a file could not be written.
!define EXIT_IN_USE 3
!define EXIT_NOT_REGISTERED 4
!define EXIT_RIGHTS 5
!define EXIT_PATH 6
!define EXIT_SWITCH 7
!define EXIT_EARLIER 8

!define MULTIUSER_MUI
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MINWIN 0x500
!define MULTIUSER_NOUNINSTALL ; the uninstaller knows whose it is
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR MovaCmdSvr
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${LIST_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME InstallLocation
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${LIST_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME InstallLocation
!define MULTIUSER_INSTALLMODE_FUNCTION TakeChoices
!include MultiUser.nsh
!include MUI2.nsh
!include x64.nsh
!include FileFunc.nsh
!include TextFunc.nsh
!include WordFunc.nsh
!include LogicLib.nsh
!include Sections.nsh
!include WinMessages.nsh
!include SearchPath.nsh

Name MovaCmdSvr
Caption "MovaCmdSvr ${VERSION} Setup"
BrandingText "MovaCmdSvr ${VERSION}"
OutFile "${OUTPUT}"
!ifdef SIGN
    !uninstfinalize '"${SIGN}" "%1"' = 0
    !finalize '"${SIGN}" "%1"' = 0
!endif

Var Mode       ; AllUsers or CurrentUser
Var Given      ; the folder of /D=, or nothing
Var Parameters
Var Earlier    ; the folder of what is installed for the same users, or nothing
Var Writing    ; "yes" from the first change on
Var Tools      ; the folder of the programs that fit the system
Var Narrow     ; what the registrar needs where there is no administrator

!define MUI_ICON MovaCmdSvr.ico
!define MUI_UNICON MovaCmdSvr.ico
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_NOAUTOCLOSE
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\${DOCUMENTATION}"
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Show the documentation"
!define MUI_FINISHPAGE_SHOWREADME_NOTCHECKED
!insertmacro MUI_PAGE_WELCOME
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

VIProductVersion ${VERSION}.0
VIFileVersion ${VERSION}.0
VIAddVersionKey FileDescription "Installs MovaCmdSvr"
VIAddVersionKey FileVersion ${VERSION}
VIAddVersionKey LegalCopyright ""
VIAddVersionKey ProductName MovaCmdSvr
VIAddVersionKey ProductVersion ${VERSION}

; What is said is shown, unless the setup is silent, and the exit code is the same in both cases.
!macro Fail CODE TEXT
    MessageBox MB_OK|MB_ICONSTOP `${TEXT}` /SD IDOK
    SetErrorLevel ${CODE}
!macroend

!insertmacro SEARCH_PATH ""
!insertmacro SEARCH_PATH "un."

; What installer and uninstaller share.
!macro SHARED un

; $Mode is known: what follows from it and from the system.
Function ${un}Prepare
    System::Call 'kernel32::GetLongPathNameW(w "$INSTDIR", w .r0, i ${NSIS_MAX_STRLEN}) i .r1'
    ${If} $1 > 0 ; it is there: in the spelling in which it is compared
    ${AndIf} $1 < ${NSIS_MAX_STRLEN}
        StrCpy $INSTDIR $0
    ${EndIf}
    ${If} ${RunningX64}
        StrCpy $Tools "$INSTDIR\windows-x64"
    ${Else}
        StrCpy $Tools "$INSTDIR\windows-x86"
    ${EndIf}
    ${If} $Mode == AllUsers
        SetShellVarContext all
        StrCpy $Narrow ""
    ${Else}
        SetShellVarContext current
        StrCpy $Narrow "/n /i:user "
    ${EndIf}
FunctionEnd

; $1: a file in the folder. Asks until it can be written, or nothing happens.
Function ${un}RefuseInUse
    again:
    IfFileExists "$INSTDIR\$1" 0 free
    ClearErrors
    FileOpen $0 "$INSTDIR\$1" a
    IfErrors in_use
    FileClose $0
    Goto free
    in_use:
    MessageBox MB_RETRYCANCEL|MB_ICONSTOP "$INSTDIR\$1 is in use, or you may not write it. End the programs that use MovaCmdSvr and try again.$\r$\n$\r$\nNothing has been changed." /SD IDCANCEL IDRETRY again
    SetErrorLevel ${EXIT_IN_USE}
    Abort "$INSTDIR\$1 is in use. Nothing has been changed."
    free:
FunctionEnd

Function ${un}RefuseAnyInUse
    !insertmacro RefuseEach "${un}" windows-x64
    !insertmacro RefuseEach "${un}" windows-x86
FunctionEnd

Function ${un}RemoveMenu
    Delete "${MENU}\Documentation.lnk"
    Delete "${MENU}\Viewer.lnk"
    Delete "${MENU}\Command prompt with mova.lnk"
    Delete "${MENU}\Uninstall.lnk"
    RMDir "${MENU}"
FunctionEnd

; Only what is this folder's: another copy that was registered since stays so. (A system that keeps a user's classes in one view
; for both kinds of programs has either DLL there.)
Function ${un}Unregister
    ${If} ${RunningX64}
        ReadRegStr $0 SHCTX "${CLASS_KEY}" ""
        SetRegView 32
    ${EndIf}
    ReadRegStr $1 SHCTX "${CLASS_KEY}" ""
    ${If} ${RunningX64}
        SetRegView 64
        ${If} $0 == "$INSTDIR\windows-x64\MovaCmdSvr.dll"
        ${OrIf} $0 == "$INSTDIR\windows-x86\MovaCmdSvr.dll"
            ExecWait '"$WINDIR\Sysnative\regsvr32.exe" /s /u $Narrow"$INSTDIR\windows-x64\MovaCmdSvr.dll"'
        ${EndIf}
    ${EndIf}
    ${If} $1 == "$INSTDIR\windows-x86\MovaCmdSvr.dll"
    ${OrIf} $1 == "$INSTDIR\windows-x64\MovaCmdSvr.dll"
        ExecWait '"$SYSDIR\regsvr32.exe" /s /u $Narrow"$INSTDIR\windows-x86\MovaCmdSvr.dll"'
    ${EndIf}
FunctionEnd

; By name: the folder is the user's choice, and files of the user's stay, as do folders that hold some.
Function ${un}RemoveFiles
    SetOutPath $TEMP ; the folder must not be anybody's current one
    !include "${REMOVAL}"
    Delete "$INSTDIR\${NAMES_FILE}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
FunctionEnd

!macroend

!macro RefuseEach un FOLDER
    !insertmacro Refuse "${un}" ${FOLDER}\MovaCmdSvr.dll
    !insertmacro Refuse "${un}" ${FOLDER}\mova.exe
    !insertmacro Refuse "${un}" ${FOLDER}\mova-viewer.exe
    !insertmacro Refuse "${un}" ${FOLDER}\mova-handset.exe
!macroend

!macro Refuse un FILE
    StrCpy $1 ${FILE}
    Call ${un}RefuseInUse
!macroend

!insertmacro SHARED ""
!insertmacro SHARED "un."

; $1: 1 or 0 on the command line behind the switch $0, otherwise as it is.
Function TakeSwitch
    ClearErrors
    ${GetOptions} $Parameters $0 $2
    ${If} ${Errors}
        Return
    ${EndIf}
    ${If} $2 != 0
    ${AndIf} $2 != 1
        !insertmacro Fail ${EXIT_SWITCH} "$0 takes 0 or 1, not $2."
        Quit
    ${EndIf}
    StrCpy $1 $2
FunctionEnd

; Removes what is installed in the folder $1 for $2, AllUsers or CurrentUser.
Function RemoveInstalled
    ${IfNot} ${FileExists} "$1\uninstall.exe"
        Return
    ${EndIf}
    DetailPrint "Removing what is installed in $1"
    ClearErrors
    StrCpy $0 ""
    ExecWait '"$1\uninstall.exe" /S /$2 _?=$1' $0
    ${If} ${Errors}
    ${OrIf} $0 <> 0
        !insertmacro Fail ${EXIT_EARLIER} "What is installed in $1 cannot be removed: its uninstaller ended with $0. End the programs that use MovaCmdSvr and try again."
        Abort "What is installed in $1 cannot be removed ($0)."
    ${EndIf}
    Delete "$1\uninstall.exe"
    RMDir "$1"
FunctionEnd

; What was installed before: in this folder its files by the names that it left, so that none outlives its version; in another
; folder all of it. Where it is for the user alone and is now to be for all, it goes first: while the user has classes of his own
; the system takes them for the machine's.
Function RemoveEarlier
    ${If} $Mode == AllUsers
        ReadRegStr $1 HKCU "${LIST_KEY}" InstallLocation
        ${If} $1 != ""
            StrCpy $2 CurrentUser
            Call RemoveInstalled
        ${EndIf}
    ${EndIf}
    ${If} $Earlier == ""
        Return
    ${EndIf}
    ${If} $Earlier != $INSTDIR
        StrCpy $1 $Earlier
        StrCpy $2 $Mode
        Call RemoveInstalled
        StrCpy $Earlier ""
        Return
    ${EndIf}
    ClearErrors
    FileOpen $0 "$INSTDIR\${NAMES_FILE}" r
    ${If} ${Errors}
        Return
    ${EndIf}
    ${Do}
        ClearErrors
        FileRead $0 $1
        ${If} ${Errors}
            ${Break}
        ${EndIf}
        ${TrimNewLines} $1 $1
        ${WordFind} $1 ".." "E+1{" $2 ; below the folder, and nowhere else
        ${If} ${Errors}
            Delete "$INSTDIR\$1"
        ${EndIf}
    ${Loop}
    FileClose $0
FunctionEnd

; Of an installation that was not there before and failed nothing stays.
Function Undo
    ${If} $Writing == yes
    ${AndIf} $Earlier == ""
        Call Unregister
        Call RemoveFiles
    ${EndIf}
    StrCpy $Writing no
FunctionEnd

Function .onInstFailed
    Call Undo
FunctionEnd

; $1: the registrar; $2: the component; $3: "64-bit" or "32-bit".
Function Register
    ClearErrors
    StrCpy $0 ""
    ExecWait '"$1" /s $Narrow"$2"' $0
    ${If} ${Errors}
    ${OrIf} $0 <> 0
        DetailPrint "regsvr32 ended with $0"
        StrCpy $4 "The $3 component could not be registered ($0)."
        ${If} $Earlier == ""
            StrCpy $4 "$4 Nothing is installed."
        ${Else}
            StrCpy $4 "$4 Run the setup again to repair it."
        ${EndIf}
        Call Undo
        !insertmacro Fail ${EXIT_NOT_REGISTERED} $4
        Abort $4
    ${EndIf}
FunctionEnd

Section "Component and tools" SECTION_CORE
    SectionIn RO
    Call Prepare
    Call RefuseAnyInUse
    Call RemoveEarlier
    StrCpy $Writing yes
    SetOutPath "$INSTDIR\windows-x86"
    File "${CONTENT}/windows-x86/*"
    SetOutPath "$INSTDIR"
    File /r /x windows-x64 /x windows-x86 "${CONTENT}/*"
    File "/oname=${NAMES_FILE}" "${LIST}"
SectionEnd

Section "-64 bit" SECTION_64
    SetOutPath "$INSTDIR\windows-x64"
    File "${CONTENT}/windows-x64/*"
SectionEnd

Section "-registered"
    SetOutPath "$INSTDIR"
    ${If} ${RunningX64}
        StrCpy $1 "$WINDIR\Sysnative\regsvr32.exe"
        StrCpy $2 "$INSTDIR\windows-x64\MovaCmdSvr.dll"
        StrCpy $3 "64-bit"
        Call Register
    ${EndIf}
    StrCpy $1 "$SYSDIR\regsvr32.exe" ; for this program the folder of the 32-bit ones
    StrCpy $2 "$INSTDIR\windows-x86\MovaCmdSvr.dll"
    StrCpy $3 "32-bit"
    Call Register
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr SHCTX "${LIST_KEY}" DisplayName MovaCmdSvr
    WriteRegStr SHCTX "${LIST_KEY}" DisplayVersion ${VERSION}
    WriteRegStr SHCTX "${LIST_KEY}" DisplayIcon "$INSTDIR\uninstall.exe"
    WriteRegStr SHCTX "${LIST_KEY}" Publisher MovaCmdSvr
    WriteRegStr SHCTX "${LIST_KEY}" InstallLocation $INSTDIR
    WriteRegStr SHCTX "${LIST_KEY}" Readme "$INSTDIR\${DOCUMENTATION}"
    WriteRegStr SHCTX "${LIST_KEY}" UninstallString '"$INSTDIR\uninstall.exe" /$Mode'
    WriteRegStr SHCTX "${LIST_KEY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /$Mode /S'
    WriteRegDWORD SHCTX "${LIST_KEY}" NoModify 1
    WriteRegDWORD SHCTX "${LIST_KEY}" NoRepair 1 ; running the setup again repairs
    SectionGetSize ${SECTION_CORE} $0
    ${If} ${RunningX64}
        SectionGetSize ${SECTION_64} $1
        IntOp $0 $0 + $1
    ${EndIf}
    WriteRegDWORD SHCTX "${LIST_KEY}" EstimatedSize $0 ; KB
    StrCpy $Earlier $INSTDIR ; from here on it is installed, whatever becomes of the rest
SectionEnd

Section /o "Tools in the search path" SECTION_PATH
SectionEnd

Section "Start menu" SECTION_MENU
SectionEnd

Section "-choices"
    ReadRegStr $3 SHCTX "${LIST_KEY}" PathEntry
    ${If} $3 != ""
        ${IfNot} ${SectionIsSelected} ${SECTION_PATH}
        ${OrIf} $3 != $Tools
            StrCpy $0 $3
            StrCpy $1 remove
            Call EditSearchPath
            DeleteRegValue SHCTX "${LIST_KEY}" PathEntry
        ${EndIf}
    ${EndIf}
    ${If} ${SectionIsSelected} ${SECTION_PATH}
        StrCpy $0 $Tools
        StrCpy $1 add
        ${WordFind} $Tools ";" "E+1{" $2
        ${If} ${Errors}
            Call EditSearchPath
        ${Else}
            StrCpy $2 "the folder has a semicolon in its name"
        ${EndIf}
        ${If} $2 == "done"
            WriteRegStr SHCTX "${LIST_KEY}" PathEntry $Tools ; the uninstaller takes it out; one of the user's own it leaves
        ${ElseIf} $2 != "as it is"
            !insertmacro Fail ${EXIT_PATH} "MovaCmdSvr is installed, but the search path is unchanged: $2."
        ${EndIf}
    ${EndIf}
    Call RemoveMenu
    ${If} ${SectionIsSelected} ${SECTION_MENU}
        WriteRegDWORD SHCTX "${LIST_KEY}" StartMenu 1
        CreateDirectory "${MENU}"
        SetOutPath "$INSTDIR"
        CreateShortcut "${MENU}\Documentation.lnk" "$INSTDIR\${DOCUMENTATION}"
        CreateShortcut "${MENU}\Uninstall.lnk" "$INSTDIR\uninstall.exe" /$Mode
        ; The system's own prompt: without this a 32-bit program is led to the 32-bit one.
        ${DisableX64FSRedirection}
        CreateShortcut "${MENU}\Viewer.lnk" "$SYSDIR\cmd.exe" '/k ""$Tools\mova-viewer.exe""' "$Tools\mova-viewer.exe"
        CreateShortcut "${MENU}\Command prompt with mova.lnk" "$SYSDIR\cmd.exe" \
            '/k set "PATH=$Tools;%PATH%"& cd /d "%USERPROFILE%"' "$Tools\mova.exe"
        ${EnableX64FSRedirection}
    ${Else}
        WriteRegDWORD SHCTX "${LIST_KEY}" StartMenu 0
    ${EndIf}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${SECTION_CORE} "The automation component, registered; mova, the viewer, the simulated handset; samples and documentation."
    !insertmacro MUI_DESCRIPTION_TEXT ${SECTION_PATH} "mova, mova-viewer and mova-handset start by their names in every prompt."
    !insertmacro MUI_DESCRIPTION_TEXT ${SECTION_MENU} "Documentation, the viewer, a prompt with mova, and the uninstaller."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; Called whenever the mode is decided. What is installed already tells what was chosen then; the command line comes first.
Function TakeChoices
    StrCpy $Mode $MultiUser.InstallMode
    ${If} $Given != ""
        StrCpy $INSTDIR $Given
    ${EndIf}
    ReadRegStr $Earlier SHCTX "${LIST_KEY}" InstallLocation
    ReadRegStr $1 SHCTX "${LIST_KEY}" PathEntry
    ${If} $1 != ""
        StrCpy $1 1
    ${Else}
        StrCpy $1 0
    ${EndIf}
    StrCpy $0 "/PATH="
    Call TakeSwitch
    !insertmacro ClearSectionFlag ${SECTION_PATH} ${SF_SELECTED}
    ${If} $1 = 1
        !insertmacro SelectSection ${SECTION_PATH}
    ${EndIf}
    ClearErrors
    ReadRegDWORD $1 SHCTX "${LIST_KEY}" StartMenu
    ${If} ${Errors}
        StrCpy $1 1
    ${EndIf}
    StrCpy $0 "/MENU="
    Call TakeSwitch
    !insertmacro ClearSectionFlag ${SECTION_MENU} ${SF_SELECTED}
    ${If} $1 = 1
        !insertmacro SelectSection ${SECTION_MENU}
    ${EndIf}
FunctionEnd

Function .onInit
    StrCpy $Given $INSTDIR
    StrCpy $0 $Given 1 -1
    ${If} $0 == "\" ; as all others are spelled
        StrCpy $Given $Given -1
    ${EndIf}
    ${If} ${RunningX64}
        SetRegView 64
    ${Else}
        !insertmacro UnselectSection ${SECTION_64}
    ${EndIf}
    ${GetParameters} $Parameters
    ClearErrors
    ${GetOptions} $Parameters "/AllUsers" $0
    ${IfNot} ${Errors}
        UserInfo::GetAccountType
        Pop $0
        ${If} $0 != Admin
            !insertmacro Fail ${EXIT_RIGHTS} "Only an administrator can install MovaCmdSvr for all users. Without /AllUsers it is installed for you alone."
            Quit
        ${EndIf}
    ${EndIf}
    !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
    ${If} ${RunningX64}
        SetRegView 64
    ${EndIf}
    StrCpy $Mode AllUsers
    Call un.Prepare
    ReadRegStr $0 HKCU "${LIST_KEY}" InstallLocation
    ${If} $0 == $INSTDIR
        StrCpy $Mode CurrentUser
    ${EndIf}
    ${un.GetParameters} $Parameters
    ClearErrors
    ${un.GetOptions} $Parameters "/CurrentUser" $0
    ${IfNot} ${Errors}
        StrCpy $Mode CurrentUser
    ${EndIf}
    ClearErrors
    ${un.GetOptions} $Parameters "/AllUsers" $0
    ${IfNot} ${Errors}
        StrCpy $Mode AllUsers
    ${EndIf}
    ${If} $Mode == AllUsers
        UserInfo::GetAccountType
        Pop $0
        ${If} $0 != Admin
            !insertmacro Fail ${EXIT_RIGHTS} "MovaCmdSvr is installed for all users: only an administrator can remove it."
            Quit
        ${EndIf}
        ReadRegStr $0 HKCU "${LIST_KEY}" InstallLocation
        ${If} $0 != $INSTDIR
        ${AndIf} ${FileExists} "$0\uninstall.exe" ; the system would take out the user's registration instead
            !insertmacro Fail ${EXIT_EARLIER} "MovaCmdSvr is installed for you alone as well, in $0: remove that first."
            Quit
        ${EndIf}
    ${EndIf}
    Call un.Prepare
FunctionEnd

Section Uninstall
    Call un.RefuseAnyInUse
    Call un.Unregister
    Call un.RemoveFiles
    ReadRegStr $0 SHCTX "${LIST_KEY}" InstallLocation
    ${If} $0 == $INSTDIR
    ${OrIfNot} ${FileExists} "$0\uninstall.exe" ; otherwise the rest belongs to what was installed since
        ReadRegStr $0 SHCTX "${LIST_KEY}" PathEntry
        ${If} $0 != ""
            StrCpy $1 remove
            Call un.EditSearchPath
        ${EndIf}
        Call un.RemoveMenu
        DeleteRegKey SHCTX "${LIST_KEY}"
    ${EndIf}
SectionEnd
