; The installer: both bitnesses of the filters, the player and the command line, with an uninstaller.
;
;   makensis -DVERSION=2.0.0 -DFILES=folder-of-the-zip -DFILE_LIST=deletions -DOUTPUT=setup.exe setup.nsi
;
;   setup.exe /S [/D=folder]     installs without a window; ends with 0, 1 (a filter was not registered) or 2 (aborted)
;   uninstall.exe /S             removes without a window

Unicode true
!include "LogicLib.nsh"
!include "x64.nsh"
!include "FileFunc.nsh"

Name "Talv DICOM Reader ${VERSION}"
OutFile "${OUTPUT}"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
; The files' own dates stay out, so that the same commit gives the same installer.
SetDateSave off
InstallDir ""
ShowInstDetails show
ShowUninstDetails show

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "Talv DICOM Reader"
VIAddVersionKey "CompanyName" "Talv Systems, Inc."
VIAddVersionKey "FileDescription" "Talv DICOM Reader setup"
VIAddVersionKey "FileVersion" "${VERSION}.0"
VIAddVersionKey "ProductVersion" "${VERSION}.0"
VIAddVersionKey "LegalCopyright" ""

!define ENTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Talv DICOM Reader"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

Var failed

; A 32-bit installer sees the 64-bit system folder as Sysnative.
!macro Server verb switch folder file
    !if "${folder}" == "x64"
        StrCpy $1 "$WINDIR\Sysnative\regsvr32.exe"
    !else
        StrCpy $1 "$SYSDIR\regsvr32.exe"
    !endif
    ExecWait '"$1" /s ${switch} "$INSTDIR\${folder}\${file}"' $0
    ${If} $0 == 0
        DetailPrint "${verb} ${folder}\${file}"
    ${Else}
        DetailPrint "FAILED: ${folder}\${file} (regsvr32 ended with $0)"
        StrCpy $failed 1
    ${EndIf}
!macroend

Function .onInit
    ${If} $INSTDIR == ""
        ${If} ${RunningX64}
            StrCpy $INSTDIR "$PROGRAMFILES64\Talv DICOM Reader"
        ${Else}
            StrCpy $INSTDIR "$PROGRAMFILES\Talv DICOM Reader"
        ${EndIf}
    ${EndIf}
FunctionEnd

Section
    StrCpy $failed 0
    SetShellVarContext all
    SetOutPath "$INSTDIR\x86"
    File "${FILES}\x86\*.*"
    ${If} ${RunningX64}
        SetOutPath "$INSTDIR\x64"
        File "${FILES}\x64\*.*"
    ${EndIf}
    SetOutPath "$INSTDIR"
    File "${FILES}\*.*"

    !insertmacro Server "Registered" "" x86 TVDicRd2.ax
    !insertmacro Server "Registered" "" x86 TVGreyDisplay.ax
    ${If} ${RunningX64}
        !insertmacro Server "Registered" "" x64 TVDicRd2.ax
        !insertmacro Server "Registered" "" x64 TVGreyDisplay.ax
        SetRegView 64
        StrCpy $2 "$INSTDIR\x64"
    ${Else}
        StrCpy $2 "$INSTDIR\x86"
    ${EndIf}

    CreateDirectory "$SMPROGRAMS\Talv DICOM Reader"
    CreateShortCut "$SMPROGRAMS\Talv DICOM Reader\DICOM player.lnk" "$2\dicplay.exe"
    CreateShortCut "$SMPROGRAMS\Talv DICOM Reader\Read me.lnk" "$INSTDIR\README.html"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr HKLM "${ENTRY}" "DisplayName" "Talv DICOM Reader"
    WriteRegStr HKLM "${ENTRY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${ENTRY}" "Publisher" "Talv Systems, Inc."
    WriteRegStr HKLM "${ENTRY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${ENTRY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${ENTRY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${ENTRY}" "NoModify" 1
    WriteRegDWORD HKLM "${ENTRY}" "NoRepair" 1
    ${If} $failed == 1
        SetErrorLevel 1
    ${EndIf}
SectionEnd

Section "Uninstall"
    StrCpy $failed 0
    SetShellVarContext all
    ; The association is the user's own; it is put back when this user made it.
    nsExec::ExecToLog '"$SYSDIR\cmd.exe" /c ""$INSTDIR\associate-dcm.cmd" /undo"'
    Pop $0
    nsExec::ExecToLog '"$SYSDIR\cmd.exe" /c ""$INSTDIR\unregister.cmd" /quiet"'
    Pop $0
    ${If} $0 != 0
        StrCpy $failed 1
    ${EndIf}
    ${If} ${RunningX64}
        SetRegView 64
    ${EndIf}
    DeleteRegKey HKLM "${ENTRY}"
    Delete "$SMPROGRAMS\Talv DICOM Reader\DICOM player.lnk"
    Delete "$SMPROGRAMS\Talv DICOM Reader\Read me.lnk"
    RMDir "$SMPROGRAMS\Talv DICOM Reader"
    ; Only what was installed: the folder may be one that the user shares with other things.
    !include "${FILE_LIST}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR\x86"
    RMDir "$INSTDIR\x64"
    RMDir "$INSTDIR"
    ${If} $failed == 1
        SetErrorLevel 1
    ${EndIf}
SectionEnd
