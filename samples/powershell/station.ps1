# A first station in PowerShell: open, an AT command, a request, a confirmation, an error, close.
#
#   powershell -File station.ps1 [-Port 7]
#
# A 64-bit PowerShell needs the 64-bit component registered. Out-parameters are [ref] to a variable that exists.
param([int]$Port = 1)

$failures = 0
function Step($What, $Got, $Expected, $Detail = '') {
    $mark = if ($Got -eq $Expected) { 'pass' } else { 'FAIL'; $script:failures++ }
    '  {0}  {1}: 0x{2:X} {3}' -f $mark, $What, $Got, $Detail
}

$handset = New-Object -ComObject MovaCmdSvr.VeCmdManager
$handset.CommPortId = $Port
$handset.BaudRate = 115200
Step 'open the port' $handset.VbInitCmdManager(0) 0

Step 'an AT command is sent' $handset.SendNormalAtCmd(0, 'AT+CGMI') 0
Start-Sleep -Milliseconds 300
$length = 0
$answer = ''
Step 'its answer' $handset.GetNormalAtResult(2, [ref]$length, [ref]$answer) 0 $answer

$code = 0
$handset.SwitchOperateMode(3, 0, [ref]$code)    # requests wait for the handset's OK
$handset.RfGeneralTestReq(5, 0x0102, [ref]$code)
Step 'RF test' $code 0
$remained = 0; $problem = 0; $confirmation = ''
$handset.FetchQueuedCnfTextItem([ref]$remained, [ref]$length, [ref]$problem, [ref]$confirmation)
Step 'its confirmation' $length 8 $confirmation

$object = ''
Step 'no such object' $handset.ReadE2PObject(0x7777, 1, [ref]$object) 0x8202
Step 'close the port' $handset.ProprietaryCloseComPort(0) 0

if ($failures -eq 0) { 'VERDICT: PASS' } else { 'VERDICT: FAIL' }
exit $failures
