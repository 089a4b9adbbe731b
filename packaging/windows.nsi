; SPDX-License-Identifier: Apache-2.0
; The installer. scripts/package defines VERSION, FILES (a folder), OUTPUT, and REMOVAL: a file with a line for each
; file and folder below FILES that the uninstaller deletes. /S installs silently, /D=FOLDER elsewhere.
Target amd64-unicode
!include LogicLib.nsh
!define ENTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\yox"

Name "yox ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\yox"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "yox"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "Installs yox"
VIAddVersionKey LegalCopyright "The yox authors. Apache License 2.0."

LicenseData "${FILES}\LICENSE.txt"
Page license
Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

Function .onInit
  SetRegView 64
  SetShellVarContext all
  ; An upgrade goes where the former version is, unless /D names a folder.
  ${If} $INSTDIR == "$PROGRAMFILES64\yox"
    ReadRegStr $0 HKLM "${ENTRY}" InstallLocation
    ${If} $0 != ""
      StrCpy $INSTDIR $0
    ${EndIf}
  ${EndIf}
FunctionEnd

Section
  ; First goes what the former version has, wherever it is: it may have other files.
  ReadRegStr $0 HKLM "${ENTRY}" InstallLocation
  ${If} $0 != ""
    ExecWait '"$0\uninstall.exe" /S _?=$0' $1
    Delete "$0\uninstall.exe"
    RMDir "$0"
  ${EndIf}
  SetOutPath $INSTDIR
  File /r "${FILES}\*"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${ENTRY}" DisplayName "yox"
  WriteRegStr HKLM "${ENTRY}" DisplayVersion "${VERSION}"
  WriteRegStr HKLM "${ENTRY}" Publisher "The yox authors"
  WriteRegStr HKLM "${ENTRY}" InstallLocation "$INSTDIR"
  WriteRegStr HKLM "${ENTRY}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${ENTRY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${ENTRY}" NoModify 1
  WriteRegDWORD HKLM "${ENTRY}" NoRepair 1
SectionEnd

Section Uninstall
  SetRegView 64
  ; Only what was installed: the folder may contain more.
  !include "${REMOVAL}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${ENTRY}"
SectionEnd
