# $autorun
# $description: Says why there is no SEM image in a KLayout without Python
if RBA::MainWindow.instance
  python = RBA::Macro.new
  python.interpreter = RBA::Macro::Python
  python.text = "None"
  begin
    python.run
  rescue RuntimeError
    $sem_timer = RBA::QTimer.new(RBA::MainWindow.instance)
    $sem_timer.singleShot = true
    $sem_timer.timeout do
      RBA::MessageBox.warning("SEM image", "The microscope's image needs a KLayout with Python.",
                              RBA::MessageBox.Ok)
    end
    $sem_timer.start(0)
  end
end
