; One folder put into the search path of the machine or of the user, or taken out of it. The script's own texts end after
; 1024 characters and a path may be many times as long, so the path is only handled where the system has it, and keeps its
; type (with variables in it or without).
!define PATH_LONGEST 32766 ; characters: no process can have more in its environment

; un: nothing, or "un." for the uninstaller.
!macro SEARCH_PATH un

; $0: the folder; $1: "add" or "remove"; of everybody where $Mode is AllUsers.
; $2 in the end: "done"; "as it is", when it was there already or is not; otherwise what went wrong.
Function ${un}EditSearchPath
    Push $3 ; result of a call, one character
    Push $4 ; the open key
    Push $5 ; the value's type
    Push $6 ; its size in bytes, with what is added
    Push $7 ; the value
    Push $8 ; where the folder stands in it
    Push $9 ; where it ends there
    StrCpy $2 "it cannot be read"
    ${If} $Mode == AllUsers
        System::Call 'advapi32::RegOpenKeyExW(p 0x80000002, w "SYSTEM\CurrentControlSet\Control\Session Manager\Environment", i 0, i 3, *p 0 r4) i .r3'
    ${Else}
        System::Call 'advapi32::RegCreateKeyExW(p 0x80000001, w "Environment", i 0, p 0, i 0, i 3, p 0, *p 0 r4, p 0) i .r3'
    ${EndIf}
    ${If} $3 <> 0
        Goto ended
    ${EndIf}
    System::Call 'advapi32::RegQueryValueExW(p r4, w "Path", p 0, *i 0 r5, p 0, *i 0 r6) i .r3'
    ${If} $3 = 2 ; there is none
        StrCpy $5 2 ; with variables
        StrCpy $6 0
    ${ElseIf} $3 <> 0
    ${OrIf} $5 < 1
    ${OrIf} $5 > 2 ; no text
        Goto opened
    ${EndIf}
    StrLen $3 $0
    IntOp $9 $3 * 2
    IntOp $3 $6 + $9
    IntOp $3 $3 + 16 ; two semicolons and the end
    System::Alloc $3 ; zeroed, so it has an end in any case
    Pop $7
    ${If} $6 > 0
        System::Call 'advapi32::RegQueryValueExW(p r4, w "Path", p 0, p 0, p r7, *i r6) i .r3'
        ${If} $3 <> 0
            Goto read
        ${EndIf}
    ${EndIf}

    ; The folder between semicolons, the beginning or the end.
    StrCpy $8 $7
    ${Do}
        System::Call 'shlwapi::StrStrIW(p r8, w r0) p .r8'
        ${If} $8 = 0
            ${Break}
        ${EndIf}
        StrCpy $3 59
        ${If} $8 <> $7
            IntOp $6 $8 - 2
            System::Call '*$6(&i2 .r3)'
        ${EndIf}
        ${If} $3 = 59
            IntOp $6 $8 + $9
            System::Call '*$6(&i2 .r3)'
            ${If} $3 = 59
            ${OrIf} $3 = 0
                ${Break}
            ${EndIf}
        ${EndIf}
        IntOp $8 $8 + 2
    ${Loop}

    StrCpy $2 "as it is"
    System::Call 'kernel32::lstrlenW(p r7) i .r6'
    ${If} $1 == add
        ${If} $8 <> 0
            Goto read
        ${EndIf}
        IntOp $3 $9 / 2
        IntOp $3 $3 + $6
        IntOp $3 $3 + 1
        ${If} $3 > ${PATH_LONGEST}
            StrCpy $2 "it is too long already"
            Goto read
        ${EndIf}
        StrCpy $3 59
        ${If} $6 > 0
            IntOp $8 $6 - 1
            IntOp $8 $8 * 2
            IntOp $8 $8 + $7
            System::Call '*$8(&i2 .r3)'
        ${EndIf}
        ${If} $3 <> 59
            System::Call 'kernel32::lstrcatW(p r7, w ";")'
        ${EndIf}
        System::Call 'kernel32::lstrcatW(p r7, w r0)'
        ${If} $3 = 59
        ${AndIf} $6 > 0 ; as it ended in a semicolon it does so again
            System::Call 'kernel32::lstrcatW(p r7, w ";")'
        ${EndIf}
    ${Else}
        ${If} $8 = 0
            Goto read
        ${EndIf}
        IntOp $9 $8 + $9 ; one semicolon goes with it: that behind it, or where it is the last the one before
        System::Call '*$9(&i2 .r3)'
        ${If} $3 = 59
            IntOp $9 $9 + 2
        ${ElseIf} $8 <> $7
            IntOp $8 $8 - 2
        ${EndIf}
        System::Call 'kernel32::lstrlenW(p r9) i .r3'
        IntOp $3 $3 + 1
        IntOp $3 $3 * 2
        System::Call 'ntdll::RtlMoveMemory(p r8, p r9, p r3)'
    ${EndIf}

    StrCpy $2 "it cannot be written"
    System::Call 'kernel32::lstrlenW(p r7) i .r6'
    ${If} $6 = 0
        System::Call 'advapi32::RegDeleteValueW(p r4, w "Path") i .r3'
    ${Else}
        IntOp $6 $6 + 1
        IntOp $6 $6 * 2
        System::Call 'advapi32::RegSetValueExW(p r4, w "Path", i 0, i r5, p r7, i r6) i .r3'
    ${EndIf}
    ${If} $3 = 0
        StrCpy $2 "done"
    ${EndIf}
    read:
    System::Free $7
    opened:
    System::Call 'advapi32::RegCloseKey(p r4)'
    ended:
    ${If} $2 == "done" ; who starts programs reads it anew
        SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=2000
    ${EndIf}
    Pop $9
    Pop $8
    Pop $7
    Pop $6
    Pop $5
    Pop $4
    Pop $3
FunctionEnd

!macroend
