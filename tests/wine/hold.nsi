; A program that reads the file FILE and lets nobody write it, until the file "hold" beside the program is gone.
Unicode true
RequestExecutionLevel user
SilentInstall silent
Name hold
Section
    FileOpen $0 "${FILE}" r
    FileOpen $1 "$EXEDIR\held" w
    FileClose $1
    again:
    Sleep 50
    IfFileExists "$EXEDIR\hold" again
    FileClose $0
SectionEnd
